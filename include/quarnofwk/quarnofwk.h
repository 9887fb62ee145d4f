/* The C interface of CorvexFwk.so: automation objects created by class name and driven through named members.
 *
 * Conventions
 *  1. Objects are opaque and counted. A qf_object* that a function hands out is one reference, which the
 * caller gives back with qf_release. The same object always has the same address.
 *  2. An object is used on the thread that created it. qf_release may be called on any thread; on another one
 * the reference waits until the object's thread calls into the library again, or ends.
 *  3. Every function that can fail returns a qf_status: 0 for success. After a failure the calling thread's
 * error record (qf_get_error) tells number, source and description. No C++ exception ever leaves the library.
 *  4. Text is UTF-8 with an explicit length and may hold NUL. It is not terminated unless a comment says so.
 *  5. Values are tagged (qf_value). What the library writes into a caller's value belongs to the caller, who
 * frees it with qf_clear. What a caller passes in is only read and stays the caller's.
 *  6. By reference: an argument of type QF_BYREF points at a value of the caller's, which the library clears
 * and writes when the member changed it. Make its text, bytes and arrays with qf_set_text, qf_set_bytes,
 * qf_set_array.
 *  7. Booleans inside values are 0 and -1.
 *  8. Member names ignore letter case; class names may carry the prefix "QuarnoFwk.".
 */
#ifndef QUARNOFWK_QUARNOFWK_H
#define QUARNOFWK_QUARNOFWK_H

#include <stdint.h>

#if defined(_WIN32)
#define QF_API __declspec(dllexport)
#else
#define QF_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

#define QF_ABI_VERSION 1

typedef int32_t qf_status;
#define QF_OK 0
#define QF_FAILED 1

/* Types of values: the automation VARIANT codes. */
enum {
  QF_EMPTY = 0,
  QF_NULL = 1,
  QF_INT16 = 2,
  QF_INT32 = 3,
  QF_SINGLE = 4,
  QF_DOUBLE = 5,
  QF_CURRENCY = 6, /* as.currency: the value times 10000 */
  QF_DATE = 7,     /* as.date: days since 30 December 1899 */
  QF_TEXT = 8,
  QF_OBJECT = 9,
  QF_MISSING = 10, /* an optional argument that is left out */
  QF_BOOLEAN = 11,
  QF_DECIMAL = 14, /* (negative ? -1 : 1) * (high * 2^64 + as.low) / 10^scale */
  QF_BYTE = 17,
  QF_INT64 = 20,
  QF_ARRAY = 0x2000 | 12, /* of values, indexed from 0 */
  QF_BYTES = 0x2000 | 17,
  QF_BYREF = 0x4000 /* as.reference */
};

typedef struct qf_object qf_object;

typedef struct qf_value {
  uint16_t type;
  uint8_t scale;    /* decimal only: 0 to 28 */
  uint8_t negative; /* decimal only: 0 or 1 */
  uint32_t high;    /* decimal only: bits 64 to 95 */
  union {
    uint8_t byte;
    int16_t int16;
    int16_t boolean;
    int32_t int32;
    int64_t int64;
    float single;
    double real;
    double date;
    int64_t currency;
    uint64_t low;
    struct {
      char* data;
      uint64_t size;
    } text;
    struct {
      uint8_t* data;
      uint64_t size;
    } bytes;
    struct {
      struct qf_value* items;
      uint64_t count;
    } array;
    qf_object* object;
    struct qf_value* reference;
  } as;
} qf_value;

/* A text that stays the library's; valid until the calling thread's next call into the library. */
typedef struct qf_text {
  const char* data;
  uint64_t size;
} qf_text;

/* QF_ABI_VERSION of the library that is loaded. */
QF_API uint32_t qf_abi_version(void);
/* The library's version, such as "1.1.131"; terminated. */
QF_API const char* qf_version(void);

/* --- Objects ----------------------------------------------------------------------------------------------
 */

/* Creates an object of a class. Error 429 when there is no such class. */
QF_API qf_status qf_create(const char* class_name, uint64_t size, qf_object** object);
QF_API void qf_retain(qf_object* object);
QF_API void qf_release(qf_object* object);
/* Name of the object's class; terminated, valid for the life of the library. */
QF_API const char* qf_class_name(const qf_object* object);

/* --- Members ----------------------------------------------------------------------------------------------
 */

enum { QF_METHOD = 0, QF_PROPERTY = 1, QF_READ_ONLY = 2, QF_CONSTANT = 3, QF_UNKNOWN_KIND = 4 };
enum { QF_CALL = 0, QF_GET = 1, QF_PUT = 2 };

/* Finds a member once, for any number of qf_invoke. `kind` may be null; host objects' members are
 * QF_UNKNOWN_KIND. Error 438 when there is none. Members are numbered per class, so a number serves every
 * object of that class. */
QF_API qf_status qf_find(qf_object* object, const char* name, uint64_t size, int32_t* member, int32_t* kind);

/* Calls a method (QF_CALL), reads (QF_GET) or writes (QF_PUT, the value being the only argument) a property.
 * The last `named` of the `count` arguments carry the parameter names in `names` (may be null when `named` is
 * 0). `result` may be null; it is written without being cleared before. */
QF_API qf_status qf_invoke(qf_object* object, int32_t member, int32_t access, const qf_value* arguments,
                           uint32_t count, const qf_text* names, uint32_t named, qf_value* result);

/* qf_find and qf_invoke in one, without named arguments. */
QF_API qf_status qf_call(qf_object* object, const char* name, uint64_t size, int32_t access,
                         const qf_value* arguments, uint32_t count, qf_value* result);

/* --- Introspection: what the library offers. Indexes run from 0; QF_FAILED past the end.
 * -------------------- */

/* The classes that qf_create makes. */
QF_API qf_status qf_class_at(uint32_t index, qf_text* name);
QF_API qf_status qf_member_at(const qf_object* object, uint32_t index, qf_text* name, int32_t* kind);

/* --- Values -----------------------------------------------------------------------------------------------
 */

/* Frees what the value holds and makes it empty. */
QF_API void qf_clear(qf_value* value);
/* These write a value without clearing it before. QF_FAILED (error 7) when there is no memory. */
QF_API qf_status qf_set_text(qf_value* value, const char* data, uint64_t size);
QF_API qf_status qf_set_bytes(qf_value* value, const uint8_t* data, uint64_t size);
/* An array of `count` empty values, to be filled in place. */
QF_API qf_status qf_set_array(qf_value* value, uint64_t count);

/* --- Errors -----------------------------------------------------------------------------------------------
 */

/* The calling thread's error record; any pointer may be null. Number 0 and empty texts before the first
 * error. */
QF_API void qf_get_error(int32_t* number, qf_text* source, qf_text* description);
/* Sets it: a host object's callback does so before it returns QF_FAILED. */
QF_API void qf_set_error(int32_t number, const char* source, uint64_t source_size, const char* description,
                         uint64_t description_size);

/* --- Objects of the host ----------------------------------------------------------------------------------
 */

/* What the library asks of an object that a host hands in. Arguments and values are lent for the call; the
 * result becomes the library's, so its text must come from qf_set_text and an object in it is one reference
 * given away. */
typedef struct qf_host_callbacks {
  qf_status (*get)(void* context, const char* name, uint64_t size, qf_value* result);
  qf_status (*put)(void* context, const char* name, uint64_t size, const qf_value* value);
  qf_status (*call)(void* context, const char* name, uint64_t size, const qf_value* arguments, uint32_t count,
                    qf_value* result);
  void (*release)(void* context); /* the last reference is gone; may come on any thread */
} qf_host_callbacks;

/* Wraps a host's object. `callbacks` must stay valid until the last release. */
QF_API qf_status qf_host_object(const qf_host_callbacks* callbacks, void* context, qf_object** object);
/* The context of an object made with these very callbacks, or null for any other object. */
QF_API void* qf_host_context(const qf_object* object, const qf_host_callbacks* callbacks);

#ifdef __cplusplus
}
#endif
#endif
