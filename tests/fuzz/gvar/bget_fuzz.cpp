// Sequences of pool operations: each is two bytes, what to do and with what. The pool must match the model byte by byte
// after each, and the bytes around its region must stay as they are.
#include "support/pool_model.h"
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace {

using roq::test::PoolModel;

constexpr size_t kGuard = 64;
constexpr unsigned char kGuardByte = 0xc3;
constexpr int32_t kLargestRegion = 2048;

struct Memory {
  RoqPoolHandle handle;
  unsigned char front[kGuard];
  alignas(8) unsigned char region[kLargestRegion];
  unsigned char back[kGuard];
};

void require(bool holds, const char* what) {
  if (holds) return;
  fprintf(stderr, "bget_fuzz: %s\n", what);
  abort();
}

class Sequence {
public:
  explicit Sequence(int32_t length) : length_(length) {
    memset(&memory_, kGuardByte, sizeof memory_);
    bpool(&memory_.handle, memory_.region, length);
    model_.emplace(&memory_.handle, memory_.region, length / 4 * 4);
  }

  void perform(uint8_t operation, uint8_t argument) {
    switch (operation % 4) {
    case 0:
      allocate(1 + argument);
      break;
    case 1:
      allocate(1 + argument * 8);
      break;
    case 2:
      allocate_text(argument % 64U);
      break;
    case 3:
      release(argument);
      break;
    }
    check();
  }

private:
  void allocate(int32_t size) { take(bget(&memory_.handle, size), model_->get(size), operations_++ & 0xff); }

  void allocate_text(size_t length) {
    std::string text(length, 't');
    char* copy = ROQ_UTIL_BgetStrdup(&memory_.handle, text.c_str());
    if (copy != nullptr) require(text == copy, "the copy of a text differs");
    take(copy, model_->get(static_cast<int32_t>(length) + 1), 't');
  }

  void take(void* buffer, std::optional<int32_t> expected, int value) {
    void* place = expected ? memory_.region + *expected : nullptr;
    require(buffer == place, "an allocation is not where it belongs");
    if (!expected) return;
    memset(buffer, value, static_cast<size_t>(model_->usable(*expected)));
    model_->fill(*expected, value, model_->usable(*expected));
    buffers_.push_back(*expected);
  }

  void release(uint8_t choice) {
    if (buffers_.empty()) return;
    size_t index = choice % buffers_.size();
    int32_t buffer = buffers_[index];
    buffers_.erase(buffers_.begin() + static_cast<ptrdiff_t>(index));
    brel(&memory_.handle, memory_.region + buffer);
    model_->release(buffer);
  }

  void check() {
    std::string difference = model_->difference(memory_.handle, memory_.region);
    require(difference.empty(), difference.c_str());
    auto is_guard = [](unsigned char byte) { return byte == kGuardByte; };
    require(std::all_of(memory_.front, memory_.front + kGuard, is_guard), "bytes in front of the region were written");
    require(std::all_of(memory_.region + length_ / 4 * 4, memory_.back + kGuard, is_guard),
            "bytes behind the region were written");
    int32_t allocated, total_free, largest_free, gets, releases;
    bstats(&memory_.handle, &allocated, &total_free, &largest_free, &gets, &releases);
    require(allocated == model_->allocated() && total_free == model_->total_free() &&
                largest_free == model_->largest_free() && gets == model_->gets() && releases == model_->releases(),
            "the statistics differ");
  }

  int32_t length_;
  Memory memory_;
  std::optional<PoolModel> model_;
  std::vector<int32_t> buffers_;
  int operations_ = 0;
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // Exhausted pools print a line each.
  int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (null >= 0) dup2(null, STDOUT_FILENO);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  int32_t length = 24 + (data[0] + 256 * data[1]) % (kLargestRegion - 23);
  Sequence sequence(length);
  for (size_t at = 2; at + 1 < size; at += 2)
    sequence.perform(data[at], data[at + 1]);
  return 0;
}
