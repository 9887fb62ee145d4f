// Text as Access files keep it, to UTF-8.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "platform/code_page.h"
#include "providers/desktop/access/bytes.h"

namespace quarno::desktop::access {

/// Appends UTF-16 text; a lone surrogate becomes U+FFFD, an odd last byte is dropped.
void append_utf16(std::string& utf8, Bytes bytes);

/// Appends text as files from Jet 4 on keep it: UTF-16, or a compressed form that begins with FF FE.
void append_unicode(std::string& utf8, Bytes bytes);

/// The text of one file. Keeps the converters of its code pages.
class TextReader {
 public:
  /// `code_page` is the file's own; `forced` wins over it and over those of single columns unless it is 0.
  /// Raises when the system does not know the forced one.
  TextReader(bool jet3, int code_page, int forced);

  /// Appends a text; `code_page` is that of the column, 0 for the file's own.
  void append(std::string& utf8, Bytes bytes, int code_page = 0);
  std::string read(Bytes bytes) {
    std::string result;
    append(result, bytes);
    return result;
  }
  /// A name: it ends where a NUL stands.
  std::string name(Bytes bytes);

 private:
  bool jet3_;
  int code_page_;
  int forced_;
  std::map<int, std::unique_ptr<platform::TextCodec>> codecs_;  // null: the system does not know it
};

}  // namespace quarno::desktop::access
