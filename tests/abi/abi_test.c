/* The C interface as a C host uses it. Prints each failed check and ends with status 1 when there was one. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "quarnofwk/quarnofwk.h"

static int failures = 0;

static void check(int holds, int line, const char* text) {
  if (holds) return;
  printf("line %d failed: %s\n", line, text);
  ++failures;
}

static int failed_with(qf_status status, int32_t expected) {
  int32_t number = 0;
  qf_get_error(&number, NULL, NULL);
  qf_set_error(0, "", 0, "", 0);
  return status == QF_FAILED && number == expected;
}

#define CHECK(condition) check((condition), __LINE__, #condition)
#define CHECK_ERROR(call, number) check(failed_with((call), (number)), __LINE__, #call)

static qf_object* create(const char* name) {
  qf_object* object = NULL;
  if (qf_create(name, strlen(name), &object) == QF_OK) return object;
  printf("cannot create %s\n", name);
  exit(1);
}

static qf_status call(qf_object* object, const char* name, int32_t access, const qf_value* arguments,
                      uint32_t count, qf_value* result) {
  return qf_call(object, name, strlen(name), access, arguments, count, result);
}

static qf_value typed(uint16_t type) {
  qf_value value;
  memset(&value, 0, sizeof value);
  value.type = type;
  return value;
}

static qf_value text_of(const char* text, uint64_t size) {
  qf_value value = typed(QF_EMPTY);
  CHECK(qf_set_text(&value, text, size) == QF_OK);
  return value;
}

static qf_value int32_of(int32_t number) {
  qf_value value = typed(QF_INT32);
  value.as.int32 = number;
  return value;
}

static qf_value by_ref(qf_value* target) {
  qf_value value = typed(QF_BYREF);
  value.as.reference = target;
  return value;
}

static int text_is(const char* data, uint64_t size, const char* expected) {
  return size == strlen(expected) && (size == 0 || memcmp(data, expected, size) == 0);
}

static int value_is(const qf_value* value, const char* expected) {
  return value->type == QF_TEXT && text_is(value->as.text.data, value->as.text.size, expected);
}

/* Same type and content; texts and byte arrays lie alike in a value. */
static int same(const qf_value* a, const qf_value* b) {
  static const unsigned char kSizes[] = {
      [QF_INT16] = 2,  [QF_INT32] = 4,   [QF_SINGLE] = 4,  [QF_DOUBLE] = 8, [QF_CURRENCY] = 8, [QF_DATE] = 8,
      [QF_OBJECT] = 8, [QF_BOOLEAN] = 2, [QF_DECIMAL] = 8, [QF_BYTE] = 1,   [QF_INT64] = 8};
  uint64_t i;
  if (a->type != b->type || a->scale != b->scale || a->negative != b->negative || a->high != b->high)
    return 0;
  if (a->type < sizeof kSizes && a->type != QF_TEXT) return memcmp(&a->as, &b->as, kSizes[a->type]) == 0;
  if (a->as.text.size != b->as.text.size) return 0;
  if (a->type != QF_ARRAY) return memcmp(a->as.text.data, b->as.text.data, a->as.text.size) == 0;
  for (i = 0; i < a->as.array.count && same(&a->as.array.items[i], &b->as.array.items[i]); ++i) continue;
  return i == a->as.array.count;
}

/* One value of every type, and the edges of some. Index 0 to 19. */
static qf_value make_value(int index, qf_object* object) {
  static const uint16_t kTypes[] = {QF_EMPTY, QF_NULL,    QF_MISSING, QF_INT16,  QF_INT32,
                                    QF_INT64, QF_BYTE,    QF_SINGLE,  QF_DOUBLE, QF_CURRENCY,
                                    QF_DATE,  QF_BOOLEAN, QF_DECIMAL, QF_OBJECT};
  qf_value value = typed(index < 14 ? kTypes[index] : QF_EMPTY);
  switch (index) {
    case 3: value.as.int16 = -32768; break;
    case 4: value.as.int32 = INT32_MIN; break;
    case 5: value.as.int64 = INT64_MAX; break;
    case 6: value.as.byte = 255; break;
    case 7: value.as.single = 1.5f; break;
    case 8: value.as.real = -1e300; break;
    case 9: value.as.currency = INT64_MIN; break;
    case 10: value.as.date = -1.25; break;
    case 11: value.as.boolean = -1; break;
    case 12: value.as.low = UINT64_MAX, value.high = UINT32_MAX, value.scale = 28, value.negative = 1; break;
    case 13: qf_retain(object), value.as.object = object; break;
    case 14: return text_of("", 0);
    case 15: return text_of("\xC3\xA9\0\xE2\x82\xAC", 6);
    case 16: CHECK(qf_set_bytes(&value, (const uint8_t*)"\0\xFF", 2) == QF_OK); break;
    case 17: CHECK(qf_set_bytes(&value, NULL, 0) == QF_OK); break;
    case 18: CHECK(qf_set_array(&value, 0) == QF_OK); break;
    case 19: /* with an empty value, a text and an array in it */
      CHECK(qf_set_array(&value, 3) == QF_OK);
      value.as.array.items[1] = make_value(15, object);
      CHECK(qf_set_array(&value.as.array.items[2], 1) == QF_OK);
      value.as.array.items[2].as.array.items[0] = make_value(13, object);
  }
  return value;
}

/* A control of the host: gives and expects the value of its index, fails on demand, sums what it is called
 * with. */
struct control {
  int index;
  qf_object* object;
  int releases;
};

static qf_status control_get(void* context, const char* name, uint64_t size, qf_value* result) {
  const struct control* control = context;
  if (text_is(name, size, "Value")) *result = make_value(control->index, control->object);
  if (result->type != QF_EMPTY || control->index == 0) return QF_OK;
  qf_set_error(1001, "host", 4, "no such thing", 13);
  return QF_FAILED;
}

static qf_status control_put(void* context, const char* name, uint64_t size, const qf_value* value) {
  const struct control* control = context;
  qf_value expected = make_value(control->index, control->object);
  CHECK(text_is(name, size, "Value") && same(value, &expected));
  qf_clear(&expected);
  return QF_OK;
}

static qf_status control_call(void* context, const char* name, uint64_t size, const qf_value* arguments,
                              uint32_t count, qf_value* result) {
  (void)context, (void)name, (void)size;
  *result = int32_of(0);
  while (count > 0) result->as.int32 += arguments[--count].as.int32;
  return QF_OK;
}

static void control_release(void* context) { ++((struct control*)context)->releases; }

static const qf_host_callbacks kControl = {control_get, control_put, control_call, control_release};
static const qf_host_callbacks kOther = {control_get, control_put, control_call, control_release};

static void test_classes_and_members(void) {
  qf_object *log = create("quarnofwk.CSUPERLOG"), *none = NULL;
  qf_text name = {NULL, 0}, source = {NULL, 0}, text = {NULL, 0};
  qf_value value = text_of("a.log", 5), result = typed(QF_EMPTY);
  int32_t member = -1, kind = -1, number = 0;
  uint32_t index = 0;

  CHECK(qf_abi_version() == QF_ABI_VERSION && strchr(qf_version(), '.') != NULL);
  CHECK(strcmp(qf_class_name(log), "CSuperLog") == 0);
  while (qf_class_at(index, &name) == QF_OK && !text_is(name.data, name.size, "CSuperLog")) ++index;
  CHECK(text_is(name.data, name.size, "CSuperLog") && qf_class_at(100000, &name) == QF_FAILED);

  CHECK(qf_create("CNothing", 8, &none) == QF_FAILED && none == NULL);
  qf_get_error(&number, &source, &text);
  CHECK(number == 429 && text_is(source.data, source.size, "CorvexFwk"));
  CHECK(text_is(text.data, text.size, "ActiveX component can't create object: CNothing"));

  CHECK(qf_find(log, "WRITElog", 8, &member, &kind) == QF_OK && kind == QF_METHOD);
  CHECK(qf_find(log, "FileNumber", 10, &member, &kind) == QF_OK && kind == QF_READ_ONLY);
  CHECK_ERROR(qf_find(log, "WriteLo", 7, &member, NULL), 438);
  for (index = 0; qf_member_at(log, index, &name, &kind) == QF_OK; ++index) {
    CHECK(qf_find(log, name.data, name.size, &member, NULL) == QF_OK && member == (int32_t)index);
  }
  CHECK(index == 9);

  CHECK(call(log, "fileName", QF_PUT, &value, 1, NULL) == QF_OK);
  CHECK(call(log, "FILENAME", QF_GET, NULL, 0, &result) == QF_OK && value_is(&result, "a.log"));
  qf_clear(&result);
  CHECK(result.type == QF_EMPTY);
  CHECK_ERROR(call(log, "FileNumber", QF_PUT, &value, 1, NULL), 438);
  CHECK_ERROR(call(log, "OpenMode", QF_PUT, &value, 1, NULL), 13);
  CHECK_ERROR(call(log, "WriteLog", QF_CALL, NULL, 0, NULL), 450);
  CHECK_ERROR(call(NULL, "WriteLog", QF_CALL, NULL, 0, NULL), 91);
  CHECK_ERROR(qf_invoke(log, 9, QF_CALL, NULL, 0, NULL, 0, NULL), 438);
  CHECK_ERROR(qf_invoke(log, -1, QF_CALL, NULL, 0, NULL, 0, NULL), 438);
  CHECK_ERROR(qf_set_array(&result, UINT64_MAX / 2), 7);
  qf_clear(&value);
  qf_clear(NULL);
  qf_release(log);
  qf_release(NULL);
}

static void test_arguments(void) {
  qf_object *corvex = create("Corvex"), *reader = create("CFileReader");
  qf_value caller = text_of(" 2,5\0 ", 6), held = text_of(" 3 ", 3), bad[5], arguments[2], result;
  const int32_t errors[] = {13, 13, 13, 449, 13};
  qf_text names[2] = {{"DELIMITER", 9}, {"mode", 4}};
  int32_t member = -1;
  int i;

  arguments[0] = by_ref(&caller); /* written back, with the NUL that it holds */
  CHECK(call(corvex, "StringToDouble", QF_CALL, arguments, 1, &result) == QF_OK && result.as.real == 0);
  CHECK(caller.type == QF_TEXT && caller.as.text.size == 4 && memcmp(caller.as.text.data, "2,5\0", 4) == 0);
  qf_clear(&caller);
  caller = int32_of(7); /* converted for the member, left alone for the caller */
  CHECK(call(corvex, "StringToDouble", QF_CALL, arguments, 1, &result) == QF_OK);
  CHECK(result.type == QF_DOUBLE && result.as.real == 7 && caller.type == QF_INT32 && caller.as.int32 == 7);
  CHECK(call(corvex, "StringToDouble", QF_CALL, &held, 1, &result) == QF_OK && result.as.real == 3);
  CHECK(value_is(&held, " 3 ")); /* not by reference: stays */

  caller = by_ref(&held);
  bad[0] = by_ref(NULL), bad[1] = by_ref(&caller), bad[2] = typed(99), bad[3] = typed(QF_MISSING);
  bad[4] = typed(QF_DECIMAL), bad[4].scale = 29;
  for (i = 0; i < 5; ++i)
    CHECK_ERROR(call(corvex, "StringToDouble", QF_CALL, &bad[i], 1, &result), errors[i]);

  /* Named arguments, in any order and any letter case. */
  CHECK(qf_find(reader, "SetDataMode", 11, &member, NULL) == QF_OK);
  arguments[0] = held, arguments[1] = int32_of(2);
  CHECK(qf_invoke(reader, member, QF_CALL, arguments, 2, names, 2, NULL) == QF_OK);
  arguments[0] = int32_of(2), arguments[1] = held;
  CHECK(qf_invoke(reader, member, QF_CALL, arguments, 2, names, 1, NULL) == QF_OK);
  CHECK_ERROR(qf_invoke(reader, member, QF_CALL, &held, 1, names, 1, NULL), 449);
  CHECK_ERROR(qf_invoke(reader, member, QF_CALL, arguments, 2, names + 1, 1, NULL), 450); /* mode twice */
  names[1].data = "mood";
  CHECK_ERROR(qf_invoke(reader, member, QF_CALL, arguments, 2, names, 2, NULL), 448);
  CHECK_ERROR(qf_invoke(reader, member, QF_CALL, arguments, 1, names, 2, NULL), 448);
  qf_clear(&held);
  qf_release(corvex);
  qf_release(reader);
}

static void test_host_objects(void) {
  struct control control = {0, create("CSuperLog"), 0};
  qf_object *host = NULL, *log = control.object;
  qf_value sent, back = typed(QF_EMPTY), arguments[2];
  qf_text source, text;
  int32_t member = -1, kind = -1;

  CHECK(qf_host_object(&kControl, &control, &host) == QF_OK);
  CHECK(qf_host_context(host, &kControl) == &control);
  CHECK(qf_host_context(host, &kOther) == NULL && qf_host_context(log, &kControl) == NULL);
  CHECK(qf_find(host, "Anything", 8, &member, &kind) == QF_OK && kind == QF_UNKNOWN_KIND);
  for (; control.index < 20; ++control.index) { /* every type goes through the library unchanged, both ways */
    sent = make_value(control.index, log);
    CHECK(call(host, "Value", QF_PUT, &sent, 1, NULL) == QF_OK);
    CHECK(call(host, "Value", QF_GET, NULL, 0, &back) == QF_OK && same(&sent, &back));
    qf_clear(&sent);
    qf_clear(&back);
  }
  back = int32_of(2);
  arguments[0] = int32_of(40), arguments[1] = by_ref(&back);
  CHECK(call(host, "Sum", QF_CALL, arguments, 2, &sent) == QF_OK && sent.as.int32 == 42);
  CHECK(call(host, "Fail", QF_GET, NULL, 0, &back) == QF_FAILED);
  qf_get_error(NULL, &source, &text);
  CHECK(text_is(source.data, source.size, "host") && text_is(text.data, text.size, "no such thing"));
  CHECK_ERROR(call(host, "Fail", QF_GET, NULL, 0, &back), 1001);

  arguments[0] = typed(QF_OBJECT), arguments[0].as.object = host; /* where a text belongs */
  CHECK_ERROR(call(log, "fileName", QF_PUT, arguments, 1, NULL), 13);
  qf_retain(host);
  qf_release(host);
  CHECK(control.releases == 0);
  qf_release(host);
  CHECK(control.releases == 1);
  qf_release(log);
}

int main(void) {
  test_classes_and_members();
  test_arguments();
  test_host_objects();
  printf("%d failures\n", failures);
  return failures == 0 ? 0 : 1;
}
