/*
 * A program that defines functions with the library's names. They bind the program's own calls, never the library's:
 * what the library calls itself stays inside it.
 */
#include <roqutil.h>
#include <stdio.h>
#include <stdlib.h>

static int diverted;

static void* divert(void) {
  ++diverted;
  return NULL;
}

void bpool(RoqPoolHandle* handle, void* region, int32_t length) { (void)handle, (void)region, (void)length, divert(); }
void* bget(RoqPoolHandle* handle, int32_t size) { return (void)handle, (void)size, divert(); }
void brel(RoqPoolHandle* handle, void* buffer) { (void)handle, (void)buffer, divert(); }
void ROQ_UTIL_BgetInit(RoqPoolHandle* handle, void* region, int32_t length) {
  (void)handle, (void)region, (void)length, divert();
}
void* ROQ_UTIL_BgetMalloc(RoqPoolHandle* handle, int32_t size) { return (void)handle, (void)size, divert(); }
void ROQ_UTIL_BgetFree(RoqPoolHandle* handle, void* buffer) { (void)handle, (void)buffer, divert(); }
uint32_t ROQ_UTIL_GVarInitEx(uint32_t module, uint32_t size, uint32_t header_size, uint32_t use_lock,
                             uint32_t* created) {
  (void)module, (void)size, (void)header_size, (void)use_lock, (void)created, divert();
  return 1;
}
RoqPoolHandle* ROQ_UTIL_GVarGetMemHandle(uint32_t module) { return (void)module, divert(); }

uint32_t ROQ_UTIL_IsIpFormat(const char* text) { return (void)text, divert(), 0; }
uint32_t ROQ_UTIL_ValidateNumber(const char* text) { return (void)text, divert(), 0; }
uint32_t ROQ_UTIL_ValidateThreeNumber(const char* text) { return (void)text, divert(), 0; }
uint32_t ROQ_UTIL_ValidateThreeNumberEx(const char* text, uint32_t zero) { return (void)text, (void)zero, divert(), 0; }
uint32_t ROQ_UTIL_ValidateNumberRange(int32_t value, int32_t min, int32_t max) {
  return (void)value, (void)min, (void)max, divert(), 0;
}
uint32_t ROQ_UTIL_CheckNum(uint32_t value) { return (void)value, divert(), 0; }
uint32_t ROQ_UTIL_ValidateHostIpAddress(const char* text) { return (void)text, divert(), 0; }
uint32_t ROQ_UTIL_ValidateSubnetMask(const char* text) { return (void)text, divert(), 0; }
uint32_t ROQ_UTIL_ValidateDate(const char* text) { return (void)text, divert(), 0; }

uint32_t ROQ_UTIL_ParseArgs(const char* command, char*** vector, int32_t* count, RedirectPlan* plan) {
  return (void)command, (void)vector, (void)count, (void)plan, divert(), 1;
}
int32_t ROQ_UTIL_GetExeFullPath(const char* name, char* path, uint32_t size) {
  return (void)name, (void)path, (void)size, divert(), -1;
}
int32_t ROQ_UTIL_WaitForPid(int32_t pid, int32_t limit, uint32_t* killed_by, uint32_t* code) {
  return (void)pid, (void)limit, (void)killed_by, (void)code, divert(), -1;
}
int32_t ROQ_UTIL_ForkProcess(const char* command, int32_t limit, uint32_t* killed_by, uint32_t* code) {
  return (void)command, (void)limit, (void)killed_by, (void)code, divert(), -1;
}
uint32_t* ROQ_UTIL_FindPidByName(const char* name) { return (void)name, divert(); }

/* Nor may names that stand for nothing outside of the library. */
int lock(int id, int units);
int lock(int id, int units) { return (void)id, (void)units, divert(), -1; }
int unlock(int id, int units);
int unlock(int id, int units) { return (void)id, (void)units, divert(), -1; }

static void expect(int holds, const char* what) {
  if (holds && diverted == 0) return;
  fprintf(stderr, "interposition: %s%s\n", what, diverted ? ": a call of the library was diverted" : " failed");
  exit(1);
}

static void judge_values(void) {
  uint32_t octets[4];
  expect(ROQ_UTIL_ValidateDnsOrHostAddress("192.168.1.1") == 1, "ROQ_UTIL_ValidateDnsOrHostAddress");
  expect(ROQ_UTIL_ValidateHostIpWithSubnetMask("192.168.1.1", "255.255.255.0") == 1,
         "ROQ_UTIL_ValidateHostIpWithSubnetMask");
  expect(ROQ_UTIL_IpAddrSplit("1.2.3.4", octets) == 1, "ROQ_UTIL_IpAddrSplit");
  expect(ROQ_UTIL_ValidateDateTime("2023-06-01T12:30:00") == 1, "ROQ_UTIL_ValidateDateTime");
  expect(ROQ_UTIL_ValidateRange("5", 1, 9) == 1, "ROQ_UTIL_ValidateRange");
}

static void run_programs(void) {
  expect(ROQ_UTIL_ExecCmdNoHang("true") == 0, "ROQ_UTIL_ExecCmdNoHang");
  expect(ROQ_UTIL_GetPid("no-such-process") == 0xFFFFFFFF, "ROQ_UTIL_GetPid");
}

int main(void) {
  uint32_t created = 0, length = 0;
  char buffer[8];
  static int32_t memory[64];

  expect(ROQ_UTIL_GVarInit(0, 4096, 52, &created) == 0 && created == 1, "ROQ_UTIL_GVarInit");
  expect(ROQ_UTIL_GVarSetValue(1, "abc", 3) == 0, "ROQ_UTIL_GVarSetValue");
  expect(ROQ_UTIL_GVarSetValue(1, "abcd", 4) == 0, "ROQ_UTIL_GVarSetValue of an existing variable");
  expect(ROQ_UTIL_GVarGetValueEx(1, buffer, sizeof buffer, &length) == 0 && length == 4, "ROQ_UTIL_GVarGetValueEx");
  expect(ROQ_UTIL_GVarGetValue(1, &length) != NULL, "ROQ_UTIL_GVarGetValue");

  /* A pool that this program never set up, found empty rather than diverted: by hand, one free block of 128 bytes. */
  RoqPoolHandle* handle = (RoqPoolHandle*)memory;
  int32_t* block = memory + 8;
  uint32_t list = (uint32_t)(uintptr_t)handle, link = (uint32_t)(uintptr_t)block;
  handle->flink = handle->blink = link;
  block[0] = 0, block[1] = 128, block[2] = (int32_t)list, block[3] = (int32_t)list;
  block[32] = 128, block[33] = INT32_MIN;
  expect(ROQ_UTIL_BgetStrdup(handle, "text") == (char*)block + 128 - 16 + 8, "ROQ_UTIL_BgetStrdup");
  expect(ROQ_UTIL_GVarDelModule(0, 4096) == 0, "ROQ_UTIL_GVarDelModule");

  judge_values();
  run_programs();
  return 0;
}
