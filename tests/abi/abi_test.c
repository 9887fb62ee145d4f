/* The C interface as a C host uses it. Prints each failed check and ends with status 1 when there was one. */
#include <stdio.h>
#include <string.h>

#include "quarnofwk/quarnofwk.h"

static int failures = 0;

static void check(int holds, int line, const char* text) {
  if (!holds) printf("line %d failed: %s\n", line, text), ++failures;
}

/* The error record begins with what is expected: number, source, description. */
static int failed_with(qf_status status, const char* expected) {
  char record[200];
  int32_t number = 0;
  qf_text source, text;
  qf_get_error(&number, &source, &text);
  snprintf(record, sizeof record, "%d %.*s: %.*s", number, (int)source.size, source.data, (int)text.size,
           text.data);
  qf_set_error(0, "", 0, "", 0);
  return status == QF_FAILED && strncmp(record, expected, strlen(expected)) == 0;
}

#define CHECK(condition) check((condition), __LINE__, #condition)
#define CHECK_ERROR(call, expected) check(failed_with((call), (expected)), __LINE__, #call)

static qf_object* create(const char* name) {
  qf_object* object = NULL;
  CHECK(qf_create(name, strlen(name), &object) == QF_OK);
  return object;
}

static qf_status call(qf_object* object, const char* name, int32_t access, const qf_value* arguments,
                      uint32_t count, qf_value* result) {
  return qf_call(object, name, strlen(name), access, arguments, count, result);
}

static int text_is(const char* data, uint64_t size, const char* expected) {
  return size == strlen(expected) && memcmp(data, expected, size) == 0;
}

/* Whether `size` bytes of content are the same, lying in the value or where a text or byte array points. */
static int same(const qf_value* a, const qf_value* b, size_t size) {
  const int points = a->type == QF_TEXT || a->type == QF_BYTES;
  if (a->type != b->type || a->scale != b->scale || a->negative != b->negative || a->high != b->high)
    return 0;
  if (points && (a->as.text.size != size || b->as.text.size != size)) return 0;
  return memcmp(points ? (void*)a->as.text.data : &a->as, points ? (void*)b->as.text.data : &b->as, size) ==
         0;
}

/* A control of the host: gives and expects one value, knows no other property, sums what it is called with.
 */
struct control {
  qf_value value;
  size_t size;
  int releases;
};

static qf_status control_get(void* context, const char* name, uint64_t size, qf_value* result) {
  const struct control* control = context;
  *result = control->value;
  if (result->type == QF_TEXT)
    CHECK(qf_set_text(result, control->value.as.text.data, control->size) == QF_OK);
  if (result->type == QF_BYTES)
    CHECK(qf_set_bytes(result, control->value.as.bytes.data, control->size) == QF_OK);
  if (result->type == QF_OBJECT) qf_retain(result->as.object);
  if (text_is(name, size, "Value")) return QF_OK;
  qf_set_error(1001, "host", 4, "no such thing", 13);
  return QF_FAILED;
}

static qf_status control_put(void* context, const char* name, uint64_t size, const qf_value* value) {
  const struct control* control = context;
  return text_is(name, size, "Value") && same(value, &control->value, control->size) ? QF_OK : QF_FAILED;
}

static qf_status control_call(void* context, const char* name, uint64_t size, const qf_value* arguments,
                              uint32_t count, qf_value* result) {
  (void)context, (void)name, (void)size;
  for (result->type = QF_INT32; count > 0;) result->as.int32 += arguments[--count].as.int32;
  return QF_OK;
}

static void control_release(void* context) { ++((struct control*)context)->releases; }

static const qf_host_callbacks kControl = {control_get, control_put, control_call, control_release};

static void test_classes_and_members(void) {
  qf_object *log = create("quarnofwk.CSUPERLOG"), *none = NULL;
  qf_text name = {NULL, 0};
  qf_value huge = {.type = QF_EMPTY};
  int32_t member = -1, kind = -1;
  uint32_t index = 0;

  CHECK(qf_abi_version() == QF_ABI_VERSION && strchr(qf_version(), '.') != NULL);
  CHECK(strcmp(qf_class_name(log), "CSuperLog") == 0);
  while (qf_class_at(index, &name) == QF_OK && !text_is(name.data, name.size, "CSuperLog")) ++index;
  CHECK(text_is(name.data, name.size, "CSuperLog") && qf_class_at(100000, &name) == QF_FAILED);
  for (index = 0; qf_member_at(log, index, &name, &kind) == QF_OK; ++index)
    CHECK(qf_find(log, name.data, name.size, &member, NULL) == QF_OK && member == (int32_t)index);
  CHECK(index == 9);
  CHECK(qf_find(log, "FILENumber", 10, &member, &kind) == QF_OK && kind == QF_READ_ONLY);

  CHECK_ERROR(qf_create("CNo", 3, &none), "429 CorvexFwk: ActiveX component can't create object: CNo");
  CHECK_ERROR(qf_find(log, "WriteLo", 7, &member, NULL), "438 ");
  CHECK_ERROR(qf_invoke(log, 9, QF_CALL, NULL, 0, NULL, 0, NULL), "438 ");
  CHECK_ERROR(qf_invoke(log, -1, QF_CALL, NULL, 0, NULL, 0, NULL), "438 ");
  CHECK_ERROR(call(none, "WriteLog", QF_CALL, NULL, 0, NULL), "91 ");
  CHECK_ERROR(qf_set_array(&huge, UINT64_MAX / 2), "7 ");
  qf_release(log);
  qf_release(none);
}

static void test_arguments(void) {
  qf_object *corvex = create("Corvex"), *reader = create("CFileReader");
  const qf_value held = {.type = QF_TEXT, .as.text = {" 2,5\0 ", 6}};
  const qf_value mode = {.type = QF_INT32, .as.int32 = 2}, mixed[] = {mode, held, mode};
  qf_value caller, result, reference = {.type = QF_BYREF, .as.reference = &caller};
  const qf_value bad[] = {{.type = QF_BYREF},
                          {.type = QF_BYREF, .as.reference = &reference},
                          {.type = 99},
                          {.type = QF_DECIMAL, .scale = 29}};
  const qf_text names[] = {{"DELIMITER", 9}, {"mode", 4}, {"mood", 4}};
  int32_t member = -1;
  size_t i;

  CHECK(qf_set_text(&caller, held.as.text.data, 6) == QF_OK);
  CHECK(call(corvex, "StringToDouble", QF_CALL, &caller, 1, &result) == QF_OK && result.as.real == 0);
  CHECK(same(&caller, &held, 6)); /* not by reference: stays */
  CHECK(call(corvex, "StringToDouble", QF_CALL, &reference, 1, NULL) == QF_OK);
  CHECK(caller.type == QF_TEXT && caller.as.text.size == 4 && memcmp(caller.as.text.data, "2,5\0", 4) == 0);
  qf_clear(&caller);
  caller = mode; /* converted for the member, left alone for the caller */
  CHECK(call(corvex, "StringToDouble", QF_CALL, &reference, 1, &result) == QF_OK && result.as.real == 2);
  CHECK(result.type == QF_DOUBLE && same(&caller, &mode, 4));
  for (i = 0; i < sizeof bad / sizeof *bad; ++i)
    CHECK_ERROR(call(corvex, "StringToDouble", QF_CALL, &bad[i], 1, &result), "13 ");

  /* Named arguments, in any order and any letter case. */
  CHECK(qf_find(reader, "SetDataMode", 11, &member, NULL) == QF_OK);
  CHECK(qf_invoke(reader, member, QF_CALL, mixed + 1, 2, names, 2, NULL) == QF_OK);
  CHECK(qf_invoke(reader, member, QF_CALL, mixed, 2, names, 1, NULL) == QF_OK);
  CHECK_ERROR(qf_invoke(reader, member, QF_CALL, &held, 1, names, 1, NULL), "449 ");
  CHECK_ERROR(qf_invoke(reader, member, QF_CALL, mixed, 2, names + 1, 1, NULL), "450 "); /* mode twice */
  CHECK_ERROR(qf_invoke(reader, member, QF_CALL, mixed + 1, 2, names + 1, 2, NULL), "448 ");
  CHECK_ERROR(qf_invoke(reader, member, QF_CALL, mixed, 1, names, 2, NULL), "448 ");
  qf_release(corvex);
  qf_release(reader);
}

static void test_host_objects(void) {
  qf_object *host = NULL, *log = create("CSuperLog");
  /* clang-format off */
  struct control rows[] = {
      {{.type = QF_EMPTY}, 0, 0}, {{.type = QF_NULL}, 0, 0}, {{.type = QF_MISSING}, 0, 0},
      {{.type = QF_INT16, .as.int16 = -32768}, 2, 0}, {{.type = QF_INT32, .as.int32 = INT32_MIN}, 4, 0},
      {{.type = QF_INT64, .as.int64 = INT64_MAX}, 8, 0}, {{.type = QF_BYTE, .as.byte = 255}, 1, 0},
      {{.type = QF_SINGLE, .as.single = 1.5f}, 4, 0}, {{.type = QF_DOUBLE, .as.real = -1e300}, 8, 0},
      {{.type = QF_CURRENCY, .as.currency = INT64_MIN}, 8, 0}, {{.type = QF_DATE, .as.date = -1.25}, 8, 0},
      {{.type = QF_BOOLEAN, .as.boolean = -1}, 2, 0}, {{.type = QF_OBJECT, .as.object = log}, 8, 0},
      {{.type = QF_DECIMAL, .scale = 28, .negative = 1, .high = UINT32_MAX, .as.low = UINT64_MAX}, 8, 0},
      {{.type = QF_TEXT, .as.text = {"\xC3\xA9\0\xE2\x82\xAC", 6}}, 6, 0},
      {{.type = QF_BYTES, .as.bytes = {(uint8_t*)"\0\xFF", 2}}, 2, 0},
  };
  /* clang-format on */
  qf_value back = {.type = QF_INT32, .as.int32 = 2}, total;
  const qf_value sum[] = {{.type = QF_INT32, .as.int32 = 40}, {.type = QF_BYREF, .as.reference = &back}};
  int32_t member = -1, kind = -1;
  size_t i;

  for (i = 0; i < sizeof rows / sizeof *rows; ++i) { /* every type goes through unchanged, both ways */
    CHECK(qf_host_object(&kControl, &rows[i], &host) == QF_OK &&
          qf_host_context(host, &kControl) == &rows[i]);
    CHECK(call(host, "Sum", QF_CALL, sum, 2, &total) == QF_OK && total.as.int32 == 42);
    CHECK(call(host, "Value", QF_PUT, &rows[i].value, 1, NULL) == QF_OK);
    CHECK(call(host, "Value", QF_GET, NULL, 0, &total) == QF_OK &&
          same(&total, &rows[i].value, rows[i].size));
    qf_clear(&total);
    CHECK(total.type == QF_EMPTY);
    CHECK_ERROR(call(host, "Fail", QF_GET, NULL, 0, &total), "1001 host: no such thing");
    CHECK(call(host, "Fail", QF_PUT, &rows[i].value, 1, NULL) == QF_FAILED);
    CHECK(qf_host_context(host, NULL) == NULL && qf_host_context(log, &kControl) == NULL);
    CHECK(qf_find(host, "Anything", 8, &member, &kind) == QF_OK && kind == QF_UNKNOWN_KIND);
    qf_retain(host);
    qf_release(host);
    CHECK(rows[i].releases == 0);
    qf_release(host);
    CHECK(rows[i].releases == 1);
  }
  qf_clear(NULL);
  qf_release(log);
}

int main(void) {
  test_classes_and_members();
  test_arguments();
  test_host_objects();
  printf("%d failures\n", failures);
  return failures == 0 ? 0 : 1;
}
