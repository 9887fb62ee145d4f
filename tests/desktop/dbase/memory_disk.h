// Files in memory that can stop working at any operation, as a full disk or a dead process, and can lose what
// was not yet synced, as at a power failure.
#pragma once

#include <algorithm>
#include <climits>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "common/error.h"
#include "platform/data_files.h"

namespace quarno::test {

class MemoryDisk : public platform::DataFiles {
 public:
  enum class Failure { dies, full_once, full };

  MemoryDisk() = default;
  /// Other files of the same content; nobody holds a lock on them.
  MemoryDisk(const MemoryDisk& other) : read_only(other.read_only) {
    std::map<const Inode*, std::shared_ptr<Inode>> copies;
    const auto copy = [&](const auto& from, auto& to) {
      for (const auto& [path, inode] : from) {
        auto& own = copies[inode.get()];
        if (own == nullptr)
          own = std::make_shared<Inode>(Inode{inode->bytes, inode->durable, inode->pending, {}});
        to[path] = own;
      }
    };
    copy(other.names_, names_);
    copy(other.durable_names_, durable_names_);
  }
  MemoryDisk& operator=(const MemoryDisk&) = delete;

  /// From now on `count` changes succeed. Then the process dies: nothing works any more; or the disk is full:
  /// writing and creating fails, once or until the next call.
  void allow(int count, Failure failure = Failure::dies) {
    left_ = count;
    failure_ = failure;
    dead_ = false;
  }
  bool failed() const { return left_ < 0; }

  void put(const std::string& path, const std::string& bytes) {
    names_[path] = durable_names_[path] = std::make_shared<Inode>(Inode{bytes, bytes, {}, {}});
  }
  std::string bytes(const std::string& path) const {
    const auto found = names_.find(path);
    return found == names_.end() ? "<missing>" : found->second->bytes;
  }
  std::size_t count() const { return names_.size(); }

  /// What was not synced reached the disk or did not, piece by piece.
  void lose_power(std::mt19937& random) {
    for (const auto& names : {names_, durable_names_}) {
      for (const auto& [path, inode] : names) {
        if (names_.contains(path) == durable_names_.contains(path)) continue;
        random() % 2 == 0 ? void(names_.erase(path)) : void(names_.emplace(path, inode));
      }
    }
    for (const auto& [path, inode] : names_) {
      std::string result = inode->durable;
      for (const auto& change : inode->pending) {
        if (random() % 2 == 0)
          change.apply(result, random() % 4 == 0 ? random() % (change.bytes.size() + 1) : SIZE_MAX);
      }
      inode->bytes = inode->durable = result;
      inode->pending.clear();
    }
    durable_names_ = names_;
  }

  std::unique_ptr<platform::DataFile> open(std::string_view path, Access access) override {
    alive();
    const auto found = names_.find(std::string(path));
    if (found == names_.end()) throw run_time_error(RunTime::file_not_found, path);
    if (read_only && access == Access::read_write) throw run_time_error(RunTime::permission_denied, path);
    return std::make_unique<File>(*this, found->second);
  }
  std::unique_ptr<platform::DataFile> create(std::string_view path) override {
    step(true);
    auto& inode = names_[std::string(path)];
    if (inode != nullptr) throw run_time_error(RunTime::file_already_exists, path);
    inode = std::make_shared<Inode>();
    return std::make_unique<File>(*this, inode);
  }
  void remove(std::string_view path) override {
    step(false);
    if (names_.erase(std::string(path)) == 0) throw run_time_error(RunTime::file_not_found, path);
  }
  void replace(std::string_view from, std::string_view to) override {
    step(false);
    names_[std::string(to)] = names_.at(std::string(from));
    names_.erase(std::string(from));
  }
  void publish(std::string_view from, std::string_view to) override {
    if (names_.contains(std::string(to))) throw run_time_error(RunTime::file_already_exists, to);
    replace(from, to);
  }
  void sync_folder(std::string_view) override {
    step(false);
    durable_names_ = names_;
  }
  std::vector<std::string> names(std::string_view folder) override {
    std::vector<std::string> result;
    for (const auto& [path, inode] : names_) {
      if (path.starts_with(folder)) result.push_back(path.substr(folder.size() + 1));
    }
    return result;
  }

  bool read_only = false;

 private:
  struct Change {
    std::uint64_t offset;
    std::string bytes;
    bool truncates;
    void apply(std::string& target, std::size_t most = SIZE_MAX) const {
      if (truncates) return target.resize(offset);
      const std::size_t count = std::min(most, bytes.size());
      if (target.size() < offset + count) target.resize(offset + count);
      target.replace(offset, count, bytes, 0, count);
    }
  };
  struct Inode {
    std::string bytes;
    std::string durable;
    std::vector<Change> pending;
    std::map<std::uint64_t, std::map<const void*, platform::LockKind>> locks;
  };
  class File : public platform::DataFile {
   public:
    File(MemoryDisk& disk, std::shared_ptr<Inode> inode) : disk_(disk), inode_(std::move(inode)) {}
    ~File() override {
      for (auto& [byte, owners] : inode_->locks) owners.erase(this);
    }
    std::size_t read_at(std::uint64_t offset, std::span<char> buffer) override {
      disk_.alive();
      if (offset >= inode_->bytes.size()) return 0;
      return inode_->bytes.copy(buffer.data(), buffer.size(), offset);
    }
    void write_at(std::uint64_t offset, std::string_view bytes) override {
      const bool was_well = disk_.left_ >= 0;
      try {
        disk_.step(offset + bytes.size() > inode_->bytes.size());
      } catch (const Error&) {
        // Some of it may have been written.
        if (was_well) change({offset, std::string(bytes.substr(0, bytes.size() / 2)), false});
        throw;
      }
      change({offset, std::string(bytes), false});
    }
    std::uint64_t size() override { return inode_->bytes.size(); }
    void truncate(std::uint64_t size) override {
      disk_.step(false);
      change({size, {}, true});
    }
    void sync() override {
      disk_.step(false);
      inode_->durable = inode_->bytes;
      inode_->pending.clear();
    }
    bool try_lock(platform::LockKind kind, std::uint64_t first, std::uint64_t) override {
      auto& owners = inode_->locks[first];
      for (const auto& [owner, held] : owners) {
        const bool excludes = kind == platform::LockKind::exclusive || held == platform::LockKind::exclusive;
        if (owner != this && excludes) return false;
      }
      owners[this] = kind;
      return true;
    }
    void unlock(std::uint64_t first, std::uint64_t) override { inode_->locks[first].erase(this); }
    bool is_at(std::string_view path) override {
      const auto found = disk_.names_.find(std::string(path));
      return found != disk_.names_.end() && found->second == inode_;
    }

   private:
    void change(Change what) {
      what.apply(inode_->bytes);
      inode_->pending.push_back(std::move(what));
    }
    MemoryDisk& disk_;
    std::shared_ptr<Inode> inode_;
  };

  void alive() const {
    if (dead_) throw run_time_error(RunTime::device_io_error);
  }
  void step(bool needs_room) {
    alive();
    if (left_ < 0 && (failure_ == Failure::full_once || !needs_room)) return;
    if (left_ >= 0 && --left_ >= 0) return;
    dead_ = failure_ == Failure::dies;
    throw run_time_error(dead_ ? RunTime::device_io_error : RunTime::disk_full);
  }

  std::map<std::string, std::shared_ptr<Inode>> names_, durable_names_;
  int left_ = INT_MAX;
  Failure failure_ = Failure::dies;
  bool dead_ = false;
};

}  // namespace quarno::test
