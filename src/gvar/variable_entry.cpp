#include "gvar/variable.h"
#include <algorithm>
#include <cstdlib>
#include <cstring>

using namespace roq::gvar;

namespace {

const char* value_of(const VariableNode* node) { return from_segment_address<const char>(node->value); }

// The getters test for an empty list before they lock.
bool has_variables(uint32_t id) {
  return module_of_variable_exists(id) && segment_of_variable(id)->variables != SegmentAddress::null;
}

} // namespace

extern "C" uint32_t ROQ_UTIL_GVarGetValueEx(uint32_t ulId, void* pvBuf, uint32_t ulBufLen, uint32_t* pulCopied) {
  if (pulCopied != nullptr) *pulCopied = 0;
  if (pvBuf == nullptr) return 1;
  if (!has_variables(ulId)) return 0;

  const SegmentHeader* segment = segment_of_variable(ulId);
  ModuleLock lock(segment, kReaderUnits);
  const VariableNode* node = find_variable(segment, ulId);
  if (node == nullptr) return 0;
  uint32_t length = std::min(node->length, ulBufLen);
  memcpy(pvBuf, value_of(node), length);
  if (pulCopied != nullptr) *pulCopied = length;
  return 0;
}

extern "C" uint32_t ROQ_UTIL_GVarGetValueWithCopy(uint32_t ulId, void** ppvValue, uint32_t* pulLen) {
  if (ppvValue == nullptr) return 1;
  *ppvValue = nullptr;
  if (pulLen != nullptr) *pulLen = 0;
  if (!has_variables(ulId)) return 0;

  const SegmentHeader* segment = segment_of_variable(ulId);
  ModuleLock lock(segment, kReaderUnits);
  const VariableNode* node = find_variable(segment, ulId);
  if (node == nullptr) return 0;
  void* copy = malloc(node->length);
  if (copy == nullptr) return 1;
  memcpy(copy, value_of(node), node->length);
  *ppvValue = copy;
  if (pulLen != nullptr) *pulLen = node->length;
  return 0;
}

extern "C" void* ROQ_UTIL_GVarGetValue(uint32_t ulId, uint32_t* pulLen) {
  if (!module_of_variable_exists(ulId)) return nullptr;
  const SegmentHeader* segment = segment_of_variable(ulId);
  const VariableNode* node;
  {
    ModuleLock lock(segment, kReaderUnits);
    node = find_variable(segment, ulId);
  }
  // Read without the lock, as the caller will read the value itself.
  if (node == nullptr) return nullptr;
  if (pulLen != nullptr) *pulLen = node->length;
  return from_segment_address<void>(node->value);
}

extern "C" uint32_t ROQ_UTIL_GVarSetValue(uint32_t ulId, const void* pvValue, uint32_t ulLen) {
  if (pvValue == nullptr && ulLen != 0) return 1;
  if (!module_of_variable_exists(ulId)) return 1;
  SegmentHeader* segment = segment_of_variable(ulId);
  ModuleLock lock(segment, kWriterUnits);
  if (ulLen == 0) {
    delete_variable(segment, ulId);
    return 0;
  }
  return set_variable(segment, ulId, {static_cast<const char*>(pvValue), ulLen});
}
