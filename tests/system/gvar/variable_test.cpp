#include "store.h"
#include <atomic>
#include <memory>
#include <sys/mman.h>
#include <sys/resource.h>

namespace {

using namespace roq::test;

constexpr uint32_t kCanary = 0xC0FFEE11;
constexpr uint32_t kModule = 2;
constexpr bool kBigEndian = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;

constexpr uint32_t id_of(uint32_t number) { return kModule << 16 | number; }

// A variable as it lies in the segment.
struct Node {
  uint32_t id, value, length, next;
};

bool operator==(const Node& left, const Node& right) {
  return left.id == right.id && left.value == right.value && left.length == right.length && left.next == right.next;
}

// Module 3 holds one variable over two pages: of its node only the id lies in the first one, and its value lies in the
// second. Gives the units that were free when the piece first touched the second page.
template <typename Piece> int units_at_first_touch(Piece piece) {
  create_module(3, 8192, 52);
  Shared<int> units;
  *units = -1;
  expect_in_child([&] {
    ASSERT_EQ(ROQ_UTIL_GVarAttach(3), 0U);
    uint32_t base = fixed_address(3), address = base + 4092;
    Node node{0x00030001, base + 5000, 5, 0};
    memcpy(address_to_pointer(address), &node, sizeof node);
    memcpy(address_to_pointer(base + 5000), "hello", 5);
    memcpy(address_to_pointer(base + 20), &address, 4);
    static int* seen;
    seen = units.get();
    struct sigaction action {};
    action.sa_handler = [](int) {
      *seen = semaphore_value(semaphore_id(3));
      mprotect(address_to_pointer(fixed_address(3) + 4096), 4096, PROT_READ | PROT_WRITE);
    };
    sigaction(SIGSEGV, &action, nullptr);
    mprotect(address_to_pointer(base + 4096), 4096, PROT_NONE);
    piece();
  });
  return *units;
}

void PrintTo(const Node& node, std::ostream* stream) {
  *stream << std::hex << "{id 0x" << node.id << ", value 0x" << node.value << ", length 0x" << node.length
          << ", next 0x" << node.next << "}";
}

std::string expired_line(pid_t pid) { return "bget report: memory expired, pid:" + std::to_string(pid) + "\n"; }

uint32_t set_text(uint32_t id, const std::string& text) {
  return ROQ_UTIL_GVarSetValue(id, text.data(), static_cast<uint32_t>(text.size()));
}

std::string get_text(uint32_t id) {
  char buffer[4096];
  uint32_t copied = kCanary;
  EXPECT_EQ(ROQ_UTIL_GVarGetValueEx(id, buffer, sizeof buffer, &copied), 0U);
  return copied == kCanary ? "no length" : std::string(buffer, copied);
}

// Module 2 exists; a view of its segment, seen from outside of the library.
class VariableTest : public StoreTest {
protected:
  void SetUp() override {
    StoreTest::SetUp();
    create_module(kModule, kSize, 52);
    set_ = semaphore_id(kModule);
    view_ = std::make_unique<SegmentView>(segment_id(kModule));
  }
  void TearDown() override {
    view_.reset();
    StoreTest::TearDown();
  }

  static constexpr uint32_t kSize = 4096;

  // Runs in a child that has the module attached.
  template <typename Piece> static auto attached(Piece piece) {
    return [=] {
      ASSERT_EQ(ROQ_UTIL_GVarAttach(kModule), 0U);
      piece();
    };
  }

  uint32_t head() const { return view_->word(20); }
  size_t place(uint32_t address) const { return address - fixed_address(kModule); }
  Node node(uint32_t address) const {
    Node copy;
    memcpy(&copy, view_->at(place(address)), sizeof copy);
    return copy;
  }
  std::string bytes(uint32_t address, size_t count) const {
    return {reinterpret_cast<const char*>(view_->at(place(address))), count};
  }
  std::vector<Node> list() const {
    std::vector<Node> nodes;
    for (uint32_t address = head(); address != 0; address = nodes.back().next)
      nodes.push_back(node(address));
    return nodes;
  }
  std::vector<uint32_t> ids() const {
    std::vector<uint32_t> numbers;
    for (const Node& entry : list())
      numbers.push_back(entry.id & 0xffff);
    return numbers;
  }

  void expect_units(int units) const { EXPECT_EQ(semaphore_value(set_), units); }

  int set_ = -1;
  std::unique_ptr<SegmentView> view_;
};

using Numbers = std::vector<uint32_t>;

// ---- ROQ_UTIL_GVarSetValue

class GVarSetValue : public VariableTest {};

TEST_F(GVarSetValue, AllocatesTheValueThenItsNodeAndMakesItTheHead) {
  expect_in_child(attached([] { EXPECT_EQ(set_text(id_of(1), "hello"), 0U); }));
  uint32_t base = fixed_address(kModule);
  uint32_t value = base + kSize - 8 - 8, node_address = value - 8 - 16;
  EXPECT_EQ(head(), node_address);
  EXPECT_EQ(node(node_address), (Node{id_of(1), value, 5, 0}));
  EXPECT_EQ(bytes(value, 8), "helloUUU") << "nothing behind the value is written";
  EXPECT_EQ(view_->pool().getcount, 2);
  EXPECT_EQ(view_->pool().relcount, 0);
  EXPECT_EQ(view_->pool().totalloc, 16 + 24);
  expect_units(10);
}

TEST_F(GVarSetValue, LeavesEveryByteOfTheSegmentAsItMustBe) {
  expect_in_child(attached([] {
    set_text(id_of(1), "first value");
    set_text(id_of(2), "second");
    set_text(id_of(1), "replaced by a longer one");
  }));
  uint32_t base = fixed_address(kModule);
  auto* handle = static_cast<RoqPoolHandle*>(address_to_pointer(base + 24));
  PoolModel model(handle, address_to_pointer(base + 52), kSize - 52);
  std::vector<unsigned char> pool(view_->at(52), view_->at(kSize));
  auto store = [&](std::optional<int32_t> buffer, const std::string& content) {
    for (size_t i = 0; i < content.size(); ++i)
      model.fill(*buffer + static_cast<int32_t>(i), static_cast<unsigned char>(content[i]), 1);
  };
  auto node_bytes = [](Node entry) { return std::string(reinterpret_cast<char*>(&entry), sizeof entry); };
  auto address = [base](std::optional<int32_t> buffer) { return base + 52 + static_cast<uint32_t>(*buffer); };

  auto first = model.get(11);
  store(first, "first value");
  auto first_node = model.get(16);
  auto second = model.get(6);
  store(second, "second");
  auto second_node = model.get(16);
  store(second_node, node_bytes({id_of(2), address(second), 6, address(first_node)}));
  auto replaced = model.get(24);
  store(replaced, "replaced by a longer one");
  model.release(*first);
  store(first_node, node_bytes({id_of(1), address(replaced), 24, 0}));
  EXPECT_EQ(model.difference(view_->pool(), pool.data()), "");
  EXPECT_EQ(head(), address(second_node));
}

TEST_F(GVarSetValue, StoresNodesInTheProcessorsByteOrder) {
  expect_in_child(attached([] { set_text(id_of(0x0103), "hello"); }));
  std::string node_id = bytes(head(), 4), length = bytes(head() + 8, 4);
  if (kBigEndian) {
    EXPECT_EQ(node_id, std::string("\x00\x02\x01\x03", 4));
    EXPECT_EQ(length, std::string("\x00\x00\x00\x05", 4));
  } else {
    EXPECT_EQ(node_id, std::string("\x03\x01\x02\x00", 4));
    EXPECT_EQ(length, std::string("\x05\x00\x00\x00", 4));
  }
}

TEST_F(GVarSetValue, ListsTheNewestVariableFirst) {
  expect_in_child(attached([] {
    for (uint32_t number : {5U, 0U, 0xffffU, 7U})
      EXPECT_EQ(set_text(id_of(number), "x"), 0U);
  }));
  EXPECT_EQ(ids(), (Numbers{7, 0xffff, 0, 5}));
}

TEST_F(GVarSetValue, ReplacesAValueAndKeepsItsNodeAndPlace) {
  expect_in_child(attached([] {
    for (uint32_t number : {1U, 2U, 3U})
      set_text(id_of(number), "old");
  }));
  for (const char* text : {"", "old", "new", "a longer value", "x"}) {
    if (*text == '\0') continue;
    std::vector<Node> before = list();
    uint32_t middle = before[0].next;
    int32_t gets = view_->pool().getcount, releases = view_->pool().relcount;
    expect_in_child(attached([=] { EXPECT_EQ(set_text(id_of(2), text), 0U); }));
    std::vector<Node> after = list();
    EXPECT_EQ(after[0], before[0]);
    EXPECT_EQ(after[2], before[2]);
    EXPECT_EQ(before[0].next, middle);
    EXPECT_EQ(after[1].id, id_of(2));
    EXPECT_EQ(after[1].next, before[1].next);
    EXPECT_EQ(after[1].length, strlen(text));
    EXPECT_NE(after[1].value, before[1].value) << "the new value is allocated before the old one is released";
    EXPECT_EQ(bytes(after[1].value, strlen(text)), text);
    EXPECT_EQ(view_->pool().getcount, gets + 1);
    EXPECT_EQ(view_->pool().relcount, releases + 1);
  }
}

TEST_F(GVarSetValue, TreatsTheWholeIdAsTheKey) {
  expect_in_child([] {
    ASSERT_EQ(ROQ_UTIL_GVarAttach(kModule), 0U);
    ASSERT_EQ(ROQ_UTIL_GVarInit(3, 1024, 52, nullptr), 0U);
    set_text(0x00020001, "two");
    set_text(0x00030001, "three");
    EXPECT_EQ(get_text(0x00020001), "two");
    EXPECT_EQ(get_text(0x00030001), "three");
    EXPECT_EQ(get_text(0x00020000), "");
    EXPECT_EQ(get_text(0x00030002), "");
  });
}

TEST_F(GVarSetValue, KeepsAnyBytes) {
  expect_in_child(attached([] {
    std::string every(256, '\0');
    for (size_t i = 0; i < every.size(); ++i)
      every[i] = static_cast<char>(i);
    EXPECT_EQ(set_text(id_of(1), every), 0U);
    EXPECT_EQ(get_text(id_of(1)), every);
  }));
}

TEST_F(GVarSetValue, OfAMissingModuleReturnsOne) {
  expect_in_child([] {
    EXPECT_EQ(set_text(0x00030001, "x"), 1U);
    EXPECT_EQ(ROQ_UTIL_GVarSetValue(0x00030001, nullptr, 0), 1U);
    EXPECT_EQ(set_text(0x00110001, "x"), 1U);
    EXPECT_EQ(set_text(0xFFFFFFFF, "x"), 1U);
  });
  EXPECT_EQ(segment_id(3), -1);
}

TEST_F(GVarSetValue, OfANullValueWithALengthReturnsOneBeforeAnythingElse) {
  set_semaphore(set_, 0); // it would wait for the lock
  std::vector<unsigned char> before = view_->bytes();
  Outcome outcome = run_in_child(attached([] {
    for (uint32_t length : {1U, 5U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU})
      EXPECT_EQ(ROQ_UTIL_GVarSetValue(id_of(1), nullptr, length), 1U);
    EXPECT_EQ(ROQ_UTIL_GVarSetValue(0x00030001, nullptr, 1), 1U);
  }));
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(view_->bytes(), before);
}

TEST_F(GVarSetValue, OnAFullPoolPrintsTheLineAndLeavesTheVariableAsItWas) {
  expect_in_child(attached([] {
    set_text(id_of(1), "one");
    set_text(id_of(2), "two");
  }));
  std::vector<unsigned char> before = view_->bytes();
  for (uint32_t number : {1U, 3U}) {
    Outcome outcome = run_in_child(attached([=] { EXPECT_EQ(set_text(id_of(number), std::string(4000, 'x')), 1U); }));
    EXPECT_TRUE(outcome.exited_with(0)) << outcome;
    EXPECT_EQ(outcome.out, expired_line(outcome.pid));
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(view_->bytes(), before) << number;
    expect_units(10);
  }
}

TEST_F(GVarSetValue, NeedsRoomForTheOldAndTheNewValueAtOnce) {
  Outcome outcome = run_in_child(attached([] {
    ASSERT_EQ(set_text(id_of(1), std::string(2500, 'a')), 0U);
    EXPECT_EQ(set_text(id_of(1), std::string(2500, 'b')), 1U);
    EXPECT_EQ(get_text(id_of(1)), std::string(2500, 'a'));
  }));
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
  EXPECT_EQ(outcome.out, expired_line(outcome.pid));
}

TEST_F(GVarSetValue, ReleasesTheValueWhenThereIsNoRoomForTheNode) {
  // All of the pool but 16 bytes, too few for a node's block.
  std::string large(kSize - 52 - 8 - 8 - 20, 'x');
  Outcome outcome = run_in_child(attached([=] { EXPECT_EQ(set_text(id_of(1), large), 1U); }));
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
  EXPECT_EQ(outcome.out, expired_line(outcome.pid));
  EXPECT_EQ(head(), 0U);
  EXPECT_EQ(view_->pool().totalloc, 0);
  EXPECT_EQ(view_->pool().getcount, 1);
  EXPECT_EQ(view_->pool().relcount, 1);
  EXPECT_EQ(view_->word(56), kSize - 52 - 8) << "one free block again";
  expect_units(10);
}

TEST_F(GVarSetValue, OfALengthOfTwoGibibytesAndMoreIsAFullPool) {
  expect_in_child(attached([] { set_text(id_of(1), "one"); }));
  std::vector<unsigned char> before = view_->bytes();
  for (uint32_t length : {0x7FFFFFF0U, 0x7FFFFFFFU, 0x80000000U, 0x80000001U, 0xFFFFFFFFU}) {
    Outcome outcome = run_in_child(attached([=] { EXPECT_EQ(ROQ_UTIL_GVarSetValue(id_of(1), "x", length), 1U); }));
    EXPECT_TRUE(outcome.exited_with(0)) << outcome;
    EXPECT_EQ(outcome.out, expired_line(outcome.pid)) << length;
    EXPECT_EQ(view_->bytes(), before);
  }
  expect_units(10);
}

TEST_F(GVarSetValue, ChangesTheFirstOfTwoNodesWithTheSameId) {
  expect_in_child(attached([] {
    set_text(id_of(1), "older");
    set_text(id_of(2), "newer");
  }));
  view_->word(place(head())) = id_of(1);
  expect_in_child(attached([] {
    EXPECT_EQ(get_text(id_of(1)), "newer");
    set_text(id_of(1), "changed");
  }));
  EXPECT_EQ(bytes(list()[0].value, 7), "changed");
  EXPECT_EQ(bytes(list()[1].value, 5), "older");
}

TEST_F(GVarSetValue, AcceptsValuesInsideTheSegmentItself) {
  expect_in_child(attached([] {
    set_text(id_of(1), "copied around");
    uint32_t length;
    const void* value = ROQ_UTIL_GVarGetValue(id_of(1), &length);
    EXPECT_EQ(ROQ_UTIL_GVarSetValue(id_of(2), value, length), 0U);
    EXPECT_EQ(ROQ_UTIL_GVarSetValue(id_of(1), value, length), 0U) << "copied before the old value is released";
    EXPECT_EQ(get_text(id_of(1)), "copied around");
    EXPECT_EQ(get_text(id_of(2)), "copied around");
  }));
}

TEST_F(GVarSetValue, MeetsTheAssertionOfADamagedPoolAndGivesTheLockBack) {
  view_->word(kSize - 8) = 4;
  Outcome outcome = run_in_child(attached([] { set_text(id_of(1), "x"); }));
  EXPECT_TRUE(stopped_by(outcome, 606, "bget", "bn->prevfree == b->bh.bsize"));
  expect_units(10);
}

TEST_F(GVarSetValue, ReleasesTheOldValueBeforeItsNodeNamesTheNewOne) {
  expect_in_child(attached([] { set_text(id_of(1), "old"); }));
  Node before = list()[0];
  view_->word(place(before.value) - 4) = 0; // the old value's block is not allocated any more
  Outcome outcome = run_in_child(attached([] { set_text(id_of(1), "another"); }));
  EXPECT_TRUE(stopped_by(outcome, 831, "brel", "b->bh.bsize < 0"));
  EXPECT_EQ(list()[0], before) << "the node is written after the release";
  EXPECT_EQ(view_->pool().getcount, 3) << "the new value was allocated";
  expect_units(10);
}

// ---- ROQ_UTIL_GVarGetValueEx

class GVarGetValueEx : public VariableTest {};

TEST_F(GVarGetValueEx, CopiesAsManyBytesAsThereIsRoomFor) {
  expect_in_child(attached([] {
    ASSERT_EQ(set_text(id_of(1), "hello"), 0U);
    struct Row {
      uint32_t room, copied;
    };
    for (Row row : {Row{0, 0}, Row{1, 1}, Row{3, 3}, Row{4, 4}, Row{5, 5}, Row{6, 5}, Row{10, 5}, Row{0xFFFFFFFF, 5}}) {
      char buffer[16] = "~~~~~~~~~~~~~~~";
      uint32_t copied = kCanary;
      EXPECT_EQ(ROQ_UTIL_GVarGetValueEx(id_of(1), buffer, row.room, &copied), 0U);
      EXPECT_EQ(copied, row.copied);
      EXPECT_EQ(std::string(buffer, 15), std::string("hello").substr(0, row.copied) + std::string(15 - row.copied, '~'))
          << "no terminator, nothing behind the copy";
      EXPECT_EQ(ROQ_UTIL_GVarGetValueEx(id_of(1), buffer, row.room, nullptr), 0U);
    }
  }));
}

TEST_F(GVarGetValueEx, TellsVariablesApartWhoseModuleIsNoLongerAttached) {
  create_module(3);
  expect_in_child(attached([] {
    ASSERT_EQ(ROQ_UTIL_GVarAttach(3), 0U);
    for (uint32_t module : {kModule, 3U}) {
      for (uint32_t number : {1U, 2U})
        set_text(module << 16 | number, std::to_string(module));
    }
    for (uint32_t module : {kModule, 3U})
      EXPECT_EQ(get_text(module << 16 | 1), std::to_string(module));
    ASSERT_EQ(shmdt(address_to_pointer(fixed_address(3))), 0);
    EXPECT_EQ(get_text(id_of(1)), "2");
  }));
}

TEST_F(GVarGetValueEx, LooksAfreshIntoASegmentThatTookThePlaceOfAFormerOne) {
  for (bool by_hand : {false, true}) {
    expect_in_child([by_hand] {
      ASSERT_EQ(ROQ_UTIL_GVarInit(3, 0x10000, 52, nullptr), 0U);
      set_text(0x00030001, "x");
      set_text(0x00030002, std::string(64480, 'x'));
      ASSERT_EQ(get_text(0x00030001), "x");
      void* place = address_to_pointer(fixed_address(3));
      uint32_t head = static_cast<uint32_t*>(place)[5];
      ASSERT_EQ(shmdt(place), 0);
      expect_in_child([head] {
        ASSERT_EQ(ROQ_UTIL_GVarDelModule(3, 1024), 0U);
        ASSERT_EQ(ROQ_UTIL_GVarInit(3, 1024, 52, nullptr), 0U);
        set_text(0x00030002, "x");
        ASSERT_EQ(static_cast<uint32_t*>(address_to_pointer(fixed_address(3)))[5], head) << "the list looks the same";
      });
      if (by_hand) {
        ASSERT_EQ(shmat(segment_id(3), place, 0), place);
      }
      ASSERT_EQ(ROQ_UTIL_GVarAttach(3), 0U);
      EXPECT_EQ(get_text(0x00030001), "");
      EXPECT_EQ(get_text(0x00030002), "x");
      EXPECT_EQ(ROQ_UTIL_GVarDelModule(3, 1024), 0U);
    });
  }
}

TEST_F(GVarGetValueEx, OfAMissingVariableReturnsZeroAndCopiesNothing) {
  expect_in_child(attached([] {
    for (bool list_is_empty : {true, false}) {
      if (!list_is_empty) set_text(id_of(1), "hello");
      for (uint32_t id : {id_of(2), 0x00030001U, 0x00110001U, 0xFFFFFFFFU}) {
        char buffer[4] = "~~~";
        uint32_t copied = kCanary;
        EXPECT_EQ(ROQ_UTIL_GVarGetValueEx(id, buffer, 4, &copied), 0U);
        EXPECT_EQ(copied, 0U);
        EXPECT_STREQ(buffer, "~~~");
        EXPECT_EQ(ROQ_UTIL_GVarGetValueEx(id, buffer, 4, nullptr), 0U);
      }
    }
  }));
}

TEST_F(GVarGetValueEx, FindsTheNewestOfTwoNodesWithTheSameIdThoughItFoundTheOlderBefore) {
  expect_in_child(attached([] {
    set_text(id_of(1), "older");
    set_text(id_of(2), "newer");
    EXPECT_EQ(get_text(id_of(1)), "older");
    uint32_t address = *static_cast<uint32_t*>(address_to_pointer(fixed_address(kModule) + 20));
    auto* newest = static_cast<Node*>(address_to_pointer(address));
    newest->id = id_of(1);
    EXPECT_EQ(get_text(id_of(1)), "newer");
    set_text(id_of(1), "changed");
    newest->id = id_of(2);
    EXPECT_EQ(get_text(id_of(1)), "older");
    EXPECT_EQ(get_text(id_of(2)), "changed");
  }));
}

TEST_F(GVarGetValueEx, IntoANullBufferReturnsOneWithNothingCopied) {
  set_semaphore(set_, 0);
  expect_in_child(attached([] {
    for (uint32_t id : {id_of(1), 0x00030001U}) {
      uint32_t copied = kCanary;
      EXPECT_EQ(ROQ_UTIL_GVarGetValueEx(id, nullptr, 0, &copied), 1U);
      EXPECT_EQ(copied, 0U);
      EXPECT_EQ(ROQ_UTIL_GVarGetValueEx(id, nullptr, 10, nullptr), 1U);
    }
  }));
}

// ---- ROQ_UTIL_GVarGetValueWithCopy

class GVarGetValueWithCopy : public VariableTest {};

TEST_F(GVarGetValueWithCopy, GivesAHeapCopyThatOutlivesTheVariablesValue) {
  expect_in_child(attached([] {
    set_text(id_of(1), "hello");
    void* copy = nullptr;
    uint32_t length = kCanary;
    ASSERT_EQ(ROQ_UTIL_GVarGetValueWithCopy(id_of(1), &copy, &length), 0U);
    EXPECT_EQ(length, 5U);
    set_text(id_of(1), "other");
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(std::string(static_cast<char*>(copy), 5), "hello");
    free(copy);
    ASSERT_EQ(ROQ_UTIL_GVarGetValueWithCopy(id_of(1), &copy, nullptr), 0U);
    EXPECT_EQ(std::string(static_cast<char*>(copy), 5), "other");
    free(copy);
  }));
}

TEST_F(GVarGetValueWithCopy, CopiesUnderTheLock) {
  EXPECT_EQ(units_at_first_touch([] {
              void* copy = nullptr;
              EXPECT_EQ(ROQ_UTIL_GVarGetValueWithCopy(0x00030001, &copy, nullptr), 0U);
              free(copy);
            }),
            9);
}

TEST_F(GVarGetValueWithCopy, OfAMissingVariableGivesNullAndZero) {
  expect_in_child(attached([] {
    for (bool list_is_empty : {true, false}) {
      if (!list_is_empty) set_text(id_of(1), "hello");
      for (uint32_t id : {id_of(2), 0x00030001U, 0x00110001U}) {
        void* copy = &id;
        uint32_t length = kCanary;
        EXPECT_EQ(ROQ_UTIL_GVarGetValueWithCopy(id, &copy, &length), 0U);
        EXPECT_EQ(copy, nullptr);
        EXPECT_EQ(length, 0U);
        copy = &id;
        EXPECT_EQ(ROQ_UTIL_GVarGetValueWithCopy(id, &copy, nullptr), 0U);
        EXPECT_EQ(copy, nullptr);
      }
    }
  }));
}

TEST_F(GVarGetValueWithCopy, WithoutAPlaceForTheAddressReturnsOneBeforeItTouchesTheLength) {
  set_semaphore(set_, 0);
  expect_in_child(attached([] {
    uint32_t length = kCanary;
    EXPECT_EQ(ROQ_UTIL_GVarGetValueWithCopy(id_of(1), nullptr, &length), 1U);
    EXPECT_EQ(length, kCanary);
    EXPECT_EQ(ROQ_UTIL_GVarGetValueWithCopy(0x00030001, nullptr, nullptr), 1U);
  }));
}

TEST_F(GVarGetValueWithCopy, WithoutHeapReturnsOneAndGivesTheLockBack) {
  expect_in_child(attached([] { set_text(id_of(1), "hello"); }));
  view_->word(place(head()) + 8) = 0xF0000000; // more than a 32-bit heap or a limited one gives
  set_semaphore(set_, 5);
  expect_in_child(attached([] {
    rlimit before, none;
    getrlimit(RLIMIT_AS, &before);
    none = before;
    none.rlim_cur = 1 << 20;
    setrlimit(RLIMIT_AS, &none);
    void* copy = &before;
    uint32_t length = kCanary;
    uint32_t result = ROQ_UTIL_GVarGetValueWithCopy(id_of(1), &copy, &length);
    setrlimit(RLIMIT_AS, &before);
    EXPECT_EQ(result, 1U);
    EXPECT_EQ(copy, nullptr);
    EXPECT_EQ(length, 0U);
  }));
  expect_units(5);
}

// ---- ROQ_UTIL_GVarGetValue

class GVarGetValue : public VariableTest {};

TEST_F(GVarGetValue, GivesTheAddressInsideTheSegment) {
  expect_in_child(attached([] {
    set_text(id_of(1), "hello");
    uint32_t length = kCanary;
    auto* value = static_cast<char*>(ROQ_UTIL_GVarGetValue(id_of(1), &length));
    EXPECT_EQ(length, 5U);
    EXPECT_EQ(value, address_to_pointer(fixed_address(kModule) + kSize - 16));
    EXPECT_EQ(std::string(value, 5), "hello");
    EXPECT_EQ(ROQ_UTIL_GVarGetValue(id_of(1), nullptr), value);
  }));
}

TEST_F(GVarGetValue, ReadsTheNodeAfterTheUnlock) {
  EXPECT_EQ(units_at_first_touch([] { EXPECT_NE(ROQ_UTIL_GVarGetValue(0x00030001, nullptr), nullptr); }), 10);
}

TEST_F(GVarGetValue, OfAMissingVariableIsNullAndLeavesTheLength) {
  expect_in_child(attached([] {
    for (bool list_is_empty : {true, false}) {
      if (!list_is_empty) set_text(id_of(1), "hello");
      for (uint32_t id : {id_of(2), 0x00030001U, 0x00110001U}) {
        uint32_t length = kCanary;
        EXPECT_EQ(ROQ_UTIL_GVarGetValue(id, &length), nullptr);
        EXPECT_EQ(length, kCanary);
        EXPECT_EQ(ROQ_UTIL_GVarGetValue(id, nullptr), nullptr);
      }
    }
  }));
}

TEST_F(GVarGetValue, PrintsNothingNorDoTheOthers) {
  Outcome outcome = run_in_child(attached([] {
    set_text(id_of(1), "hello");
    ROQ_UTIL_GVarGetValue(id_of(1), nullptr);
    ROQ_UTIL_GVarGetValue(id_of(2), nullptr);
    get_text(id_of(1));
    ROQ_UTIL_GVarGetValueEx(id_of(1), nullptr, 0, nullptr);
    ROQ_UTIL_GVarGetValueWithCopy(id_of(1), nullptr, nullptr);
    set_text(0x00030001, "x");
  }));
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
  EXPECT_EQ(outcome.out + outcome.err, "");
}

// ---- modules that the store does not attach

TEST_F(GVarSetValue, WorksOnModulesFrom7To16ThatTheCallerAttached) {
  for (uint32_t module : {7U, 16U}) {
    int id = create_foreign_segment(module, 2048);
    expect_in_child([=] {
      void* place = address_to_pointer(fixed_address(module));
      ASSERT_EQ(shmat(id, place, 0), place);
      ROQ_UTIL_BgetInit(ROQ_UTIL_GVarGetMemHandle(module), static_cast<char*>(place) + 52, 2048 - 52);
      EXPECT_EQ(set_text(module << 16 | 1, "outside"), 0U);
      EXPECT_EQ(get_text(module << 16 | 1), "outside");
      EXPECT_NE(ROQ_UTIL_GVarGetValue(module << 16 | 1, nullptr), nullptr);
    });
  }
}

TEST_F(GVarSetValue, FaultsOnAModuleThatExistsButIsNotAttached) {
  EXPECT_TRUE(run_in_child([] { set_text(id_of(1), "x"); }).faulted());
  EXPECT_TRUE(run_in_child([] { get_text(id_of(1)); }).faulted());
  EXPECT_TRUE(run_in_child([] { ROQ_UTIL_GVarGetValue(id_of(1), nullptr); }).faulted());
  expect_units(10);
}

// ---- locking

class GVarLock : public VariableTest {
protected:
  void SetUp() override {
    VariableTest::SetUp();
    expect_in_child(attached([] { set_text(id_of(1), "hello"); }));
  }

  bool comes_to_wait() const {
    return eventually([this] { return waiting_processes(set_) == 1; });
  }

  // Runs the piece with `units` free and shows that it waits there, until it gets `more`.
  template <typename Piece> void expect_wait_for(int units, int more, Piece piece) {
    set_semaphore(set_, units);
    Child child(attached(piece));
    EXPECT_TRUE(comes_to_wait());
    expect_units(units);
    change_semaphore(set_, more);
    Outcome outcome = child.wait();
    EXPECT_TRUE(outcome.exited_with(0)) << outcome;
    expect_units(units + more);
  }
};

void read_ex() { EXPECT_EQ(get_text(id_of(1)), "hello"); }

void read_copy() {
  void* copy = nullptr;
  EXPECT_EQ(ROQ_UTIL_GVarGetValueWithCopy(id_of(1), &copy, nullptr), 0U);
  free(copy);
}

void read_address() { EXPECT_NE(ROQ_UTIL_GVarGetValue(id_of(1), nullptr), nullptr); }

TEST_F(GVarLock, ReadersTakeOneUnit) {
  for (auto reader : {read_ex, read_copy, read_address})
    expect_wait_for(0, 1, reader);
}

TEST_F(GVarLock, ReadersTakeOneUnitForAMissingVariableOfAListThatIsNotEmpty) {
  expect_wait_for(0, 1, [] { EXPECT_EQ(get_text(id_of(2)), ""); });
  expect_wait_for(0, 1, [] { EXPECT_EQ(ROQ_UTIL_GVarGetValue(id_of(2), nullptr), nullptr); });
}

TEST_F(GVarLock, WritersTakeTenUnits) {
  expect_wait_for(9, 1, [] { EXPECT_EQ(set_text(id_of(1), "other"), 0U); });
  expect_wait_for(0, 10, [] { EXPECT_EQ(set_text(id_of(3), "other"), 0U); });
  expect_wait_for(9, 1, [] { EXPECT_EQ(ROQ_UTIL_GVarSetValue(id_of(2), nullptr, 0), 0U) << "deletion of nothing"; });
  expect_wait_for(9, 1, [] { EXPECT_EQ(ROQ_UTIL_GVarSetValue(id_of(2), "x", 0x80000000), 1U); });
}

TEST_F(GVarLock, OnlyTheAddressGetterLocksAnEmptyList) {
  view_->word(20) = 0;
  set_semaphore(set_, 0);
  expect_in_child(attached([] {
    EXPECT_EQ(get_text(id_of(1)), "");
    void* copy = nullptr;
    EXPECT_EQ(ROQ_UTIL_GVarGetValueWithCopy(id_of(1), &copy, nullptr), 0U);
  }));
  expect_wait_for(0, 1, [] { EXPECT_EQ(ROQ_UTIL_GVarGetValue(id_of(1), nullptr), nullptr); });
}

TEST_F(GVarLock, NobodyLocksAMissingModule) {
  shmctl(segment_id(kModule), IPC_RMID, nullptr);
  set_semaphore(set_, 0);
  expect_in_child([] {
    EXPECT_EQ(get_text(id_of(1)), "");
    EXPECT_EQ(ROQ_UTIL_GVarGetValue(id_of(1), nullptr), nullptr);
    EXPECT_EQ(set_text(id_of(1), "x"), 1U);
  });
}

TEST_F(GVarLock, IsTheLastThatTouchedTheSemaphore) {
  for (auto reader : {read_ex, read_copy, read_address}) {
    Outcome outcome = run_in_child(attached(reader));
    EXPECT_EQ(last_process(set_), outcome.pid);
  }
}

TEST_F(GVarLock, LetsTenReadersInAtOnceAndNoWriter) {
  // Readers that stay inside: the copy goes to a page that is not there, and the fault's handler waits.
  auto* nowhere = static_cast<char*>(mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  auto stay_inside = attached([nowhere] {
    signal(SIGSEGV, [](int) {
      while (true)
        pause();
    });
    ROQ_UTIL_GVarGetValueEx(id_of(1), nowhere, 5, nullptr);
  });
  std::vector<std::unique_ptr<Child>> readers;
  for (int i = 0; i < 10; ++i)
    readers.push_back(std::make_unique<Child>(stay_inside));
  EXPECT_TRUE(eventually([this] { return semaphore_value(set_) == 0; }));
  EXPECT_EQ(waiting_processes(set_), 0);

  Child writer(attached([] { EXPECT_EQ(set_text(id_of(1), "written"), 0U); }));
  EXPECT_TRUE(comes_to_wait());
  for (int gone = 1; gone <= 10; ++gone) {
    EXPECT_EQ(bytes(list()[0].value, 5), "hello") << "the writer is kept out";
    readers.pop_back(); // killed; its unit comes back
    if (gone < 10) {
      EXPECT_TRUE(eventually([=, this] { return semaphore_value(set_) == gone; }));
    }
  }
  EXPECT_TRUE(writer.wait().exited_with(0));
  EXPECT_EQ(bytes(list()[0].value, 7), "written");
  expect_units(10);
}

TEST_F(GVarLock, AWriterInsideKeepsReadersAndWritersOut) {
  auto* nowhere = static_cast<char*>(mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  Child inside(attached([nowhere] {
    signal(SIGSEGV, [](int) {
      while (true)
        pause();
    });
    ROQ_UTIL_GVarSetValue(id_of(2), nowhere, 5);
  }));
  EXPECT_TRUE(eventually([this] { return semaphore_value(set_) == 0; }));
  Child reader(attached(read_ex));
  EXPECT_TRUE(comes_to_wait());
  Child writer(attached([] { set_text(id_of(3), "later"); }));
  EXPECT_TRUE(eventually([this] { return waiting_processes(set_) == 2; }));
  inside.send(SIGKILL);
  EXPECT_TRUE(inside.wait().killed_by(SIGKILL));
  EXPECT_TRUE(reader.wait().exited_with(0));
  EXPECT_TRUE(writer.wait().exited_with(0));
  expect_units(10);
}

TEST_F(GVarLock, GivesTheUnitsOfAFaultingHolderBack) {
  EXPECT_TRUE(run_in_child(attached([] {
                ROQ_UTIL_GVarGetValueEx(id_of(1), reinterpret_cast<void*>(16), 5, nullptr);
              })).faulted());
  expect_units(10);
  EXPECT_TRUE(
      run_in_child(attached([] { ROQ_UTIL_GVarSetValue(id_of(1), reinterpret_cast<void*>(16), 5); })).faulted());
  expect_units(10);
}

TEST_F(GVarLock, WaitsOnAfterSignals) {
  set_semaphore(set_, 0);
  Shared<std::atomic<int>> signals;
  static std::atomic<int>* counter;
  counter = signals.get();
  Child reader(attached([] {
    struct sigaction action {};
    action.sa_handler = [](int) { ++*counter; };
    sigaction(SIGUSR1, &action, nullptr);
    read_ex();
  }));
  EXPECT_TRUE(comes_to_wait());
  for (int sent = 1; sent <= 3; ++sent) {
    reader.send(SIGUSR1);
    EXPECT_TRUE(eventually([&] { return *signals == sent; }));
    EXPECT_TRUE(comes_to_wait()) << "again";
  }
  change_semaphore(set_, 1);
  Outcome outcome = reader.wait();
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
  expect_units(1);
}

TEST_F(GVarLock, ThatFailsIsIgnored) {
  view_->word(8) = static_cast<uint32_t>(set_ + 1); // no such set
  expect_in_child(attached([] {
    read_ex();
    read_copy();
    read_address();
    EXPECT_EQ(set_text(id_of(2), "x"), 0U);
    EXPECT_EQ(get_text(id_of(2)), "x");
  }));
  view_->word(8) = static_cast<uint32_t>(-1);
  expect_in_child(attached([] {
    read_ex();
    EXPECT_EQ(set_text(id_of(3), "x"), 0U);
  }));
  expect_units(10);
}

TEST_F(GVarLock, WhoseSetDisappearsWhileSomebodyWaitsIsIgnored) {
  set_semaphore(set_, 0);
  Child reader(attached(read_ex));
  EXPECT_TRUE(comes_to_wait());
  semctl(set_, 0, IPC_RMID);
  EXPECT_TRUE(reader.wait().exited_with(0));
}

TEST_F(GVarLock, IsUnlockedEvenWhereTheLockFailed) {
  // A process that already owes the largest number of units cannot take another one, but can give one.
  expect_in_child(attached([this] {
    set_semaphore(set_, 32767);
    change_semaphore(set_, -32767, true);
    change_semaphore(set_, 5);
    read_address();
    EXPECT_EQ(semaphore_value(set_), 6);
    read_address();
    EXPECT_EQ(semaphore_value(set_), 6) << "it owed one less, so that both worked this time";
  }));
}

TEST_F(GVarLock, UnlocksTheSetThatWasLockedWhateverTheHeaderSaysLater) {
  for (bool switched_off : {true, false}) {
    view_->word(8) = static_cast<uint32_t>(set_);
    set_semaphore(set_, 0);
    int other = semget(IPC_PRIVATE, 1, IPC_CREAT | 0666);
    Child reader(attached(read_ex));
    EXPECT_TRUE(comes_to_wait());
    view_->word(8) = switched_off ? 0 : static_cast<uint32_t>(other);
    change_semaphore(set_, 1);
    EXPECT_TRUE(reader.wait().exited_with(0));
    expect_units(1);
    EXPECT_EQ(last_process(other), 0);
    semctl(other, 0, IPC_RMID);
  }
}

// ---- deletion

class GVarDeletion : public VariableTest {
protected:
  uint32_t total() const { return view_->word(16); } // as the wrong handle's 32-bit total

  Outcome delete_variable(uint32_t number) const {
    return run_in_child(attached([=] { EXPECT_EQ(ROQ_UTIL_GVarSetValue(id_of(number), nullptr, 0), 0U); }));
  }

  // The process dies of the fault after its handler has noted the address.
  static void* address_of_fault_in_deletion(uint32_t number) {
    Shared<void*> address;
    static void** noted;
    noted = address.get();
    Outcome outcome = run_in_child(attached([=] {
      struct sigaction action {};
      action.sa_flags = SA_SIGINFO | static_cast<int>(SA_RESETHAND);
      action.sa_sigaction = [](int, siginfo_t* info, void*) { *noted = info->si_addr; };
      sigaction(SIGSEGV, &action, nullptr);
      ROQ_UTIL_GVarSetValue(id_of(number), nullptr, 0);
    }));
    EXPECT_TRUE(outcome.killed_by(SIGSEGV)) << outcome;
    return *address;
  }

  template <typename Piece> static void prepare(Piece piece) { expect_in_child(attached(piece)); }

  // The total that the header size of 52 makes, less what was released.
  static uint32_t total_less(uint32_t released) { return (kBigEndian ? 52U << 16 : 52U) - released; }
};

TEST_F(GVarDeletion, OfAMissingVariableSucceedsAndChangesNothing) {
  std::vector<unsigned char> empty = view_->bytes();
  EXPECT_TRUE(delete_variable(1).exited_with(0));
  EXPECT_EQ(view_->bytes(), empty);
  prepare([] { set_text(id_of(1), "x"); });
  std::vector<unsigned char> before = view_->bytes();
  EXPECT_TRUE(delete_variable(2).exited_with(0));
  EXPECT_TRUE(run_in_child(attached([] { EXPECT_EQ(ROQ_UTIL_GVarSetValue(id_of(2), "x", 0), 0U); })).exited_with(0));
  EXPECT_EQ(view_->bytes(), before);
  expect_units(10);
}

TEST_F(GVarDeletion, OfTheHeadFaultsAndChangesNothing) {
  for (uint32_t count : {1U, 3U}) {
    prepare([=] {
      for (uint32_t number = 1; number <= count; ++number)
        set_text(id_of(number), "value");
    });
    std::vector<unsigned char> before = view_->bytes();
    Outcome outcome = delete_variable(count);
    EXPECT_TRUE(outcome.killed_by(SIGSEGV)) << outcome;
    EXPECT_EQ(view_->bytes(), before);
    expect_units(10);
  }
}

TEST_F(GVarDeletion, OfTheHeadWritesTheSuccessorThroughAddressTwelve) {
  prepare([] { set_text(id_of(1), "value"); });
  EXPECT_EQ(address_of_fault_in_deletion(1), address_to_pointer(12));
}

TEST_F(GVarDeletion, DropsTheNodesInFrontThenFaultsOnTheListOfTheWrongHandle) {
  prepare([] {
    for (uint32_t number : {1U, 2U, 3U, 4U})
      set_text(id_of(number), "value");
  });
  std::vector<unsigned char> expected = view_->bytes();
  uint32_t second = node(node(head()).next).next;
  ASSERT_EQ(node(second).id, id_of(2));
  Outcome outcome = delete_variable(2);
  EXPECT_TRUE(outcome.killed_by(SIGSEGV)) << outcome;
  EXPECT_EQ(ids(), (Numbers{1})) << "4 and 3 are dropped with 2";
  // Besides the head: one release is counted in the pool handle's first field, 16 bytes are taken off the total that
  // the header size and its neighbour make.
  EXPECT_EQ(view_->word(24), 1U);
  EXPECT_EQ(total(), total_less(16));
  auto write = [&](size_t at, uint32_t value) { memcpy(&expected[at], &value, 4); };
  write(20, node(second).next);
  write(24, 1);
  write(16, total_less(16));
  EXPECT_EQ(view_->bytes(), expected) << "and nothing else was written";
  expect_units(10);
}

TEST_F(GVarDeletion, DroppedVariablesAreMissingAlsoWhereTheyWereFoundBefore) {
  prepare([] {
    for (uint32_t number : {1U, 2U, 3U, 4U})
      set_text(id_of(number), "value");
  });
  expect_in_child(attached([this] {
    for (uint32_t number : {1U, 2U, 3U, 4U})
      EXPECT_EQ(get_text(id_of(number)), "value");
    EXPECT_TRUE(run_in_child([] { ROQ_UTIL_GVarSetValue(id_of(2), nullptr, 0); }).killed_by(SIGSEGV));
    EXPECT_EQ(ids(), (Numbers{1}));
    for (uint32_t number : {2U, 3U, 4U})
      EXPECT_EQ(get_text(id_of(number)), "") << number;
    EXPECT_EQ(get_text(id_of(1)), "value");
    set_text(id_of(5), "value"); // node 1 is not the head any more
    for (uint32_t number : {2U, 3U, 4U})
      EXPECT_EQ(ROQ_UTIL_GVarGetValue(id_of(number), nullptr), nullptr) << number;
  }));
}

TEST_F(GVarDeletion, FaultsReadingThroughAddressEight) {
  prepare([] {
    set_text(id_of(1), "value");
    set_text(id_of(2), "value");
  });
  EXPECT_EQ(address_of_fault_in_deletion(1), address_to_pointer(8));
}

TEST_F(GVarDeletion, OfAValueLargerThanTheHeaderSizeIsStoppedOnLittleEndian) {
  prepare([] {
    set_text(id_of(1), std::string(100, 'x')); // a block of 108 bytes
    set_text(id_of(2), "value");
  });
  Outcome outcome = delete_variable(1);
  // On big-endian the header size stands in the upper half of the total, which stays positive.
  if (kBigEndian)
    EXPECT_TRUE(outcome.killed_by(SIGSEGV)) << outcome;
  else
    EXPECT_TRUE(stopped_by(outcome, 840, "brel", "pstBH->totalloc >= 0"));
  EXPECT_EQ(total(), total_less(108));
  EXPECT_EQ(view_->word(24), 1U);
  EXPECT_EQ(head(), 0U);
  expect_units(10);
}

TEST_F(GVarDeletion, MergesTheValueBackwardThenFaultsOnTheNode) {
  prepare([] {
    set_text(id_of(1), "value");
    set_text(id_of(2), "value");
    set_text(id_of(1), "a new value, behind the rest of the pool");
  });
  uint32_t deleted = node(head()).next, value = node(deleted).value;
  uint32_t rest = view_->word(place(value) - 8); // the free block in front of the value
  ASSERT_EQ(view_->word(56), rest);
  view_->half(16) = 200; // a header size that allows for it on both byte orders
  uint32_t before = total();
  Outcome outcome = delete_variable(1);
  EXPECT_TRUE(outcome.killed_by(SIGSEGV)) << outcome;
  EXPECT_EQ(view_->word(56), rest + 48) << "the rest of the pool took the value";
  EXPECT_EQ(view_->word(place(value) - 8 + 48), rest + 48) << "and the block behind knows";
  EXPECT_EQ(view_->word(24), 2U) << "both releases were counted";
  EXPECT_EQ(total(), before - 48 - 24);
  EXPECT_EQ(view_->pool().totalloc, 16 + 24 + 24 + 48) << "the pool's own total knows nothing";
  EXPECT_EQ(view_->pool().relcount, 1);
  EXPECT_EQ(bytes(value, 16), std::string(16, 'U'));
  expect_units(10);
}

TEST_F(GVarDeletion, GoesThroughWhenValueAndNodeMergeBackward) {
  prepare([] {
    set_text(id_of(1), "old");
    set_text(id_of(2), "old");
    set_text(id_of(2), "new");        // frees the block in front of the node of 1
    set_text(id_of(1), "1234567890"); // lies behind the rest of the pool now
  });
  uint32_t deleted = node(head()).next, value = node(deleted).value;
  ASSERT_EQ(node(deleted).id, id_of(1));
  uint32_t in_front = view_->word(place(deleted) - 16 + 8);
  ASSERT_EQ(in_front, 16U) << "free block in front of the node";
  int32_t allocated = view_->pool().totalloc;
  Outcome outcome = delete_variable(1);
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
  EXPECT_EQ(outcome.out + outcome.err, "");
  EXPECT_EQ(head(), 0U) << "2 was in front of it";
  EXPECT_EQ(view_->word(24), 2U);
  EXPECT_EQ(total(), total_less(20 + 24));
  EXPECT_EQ(view_->half(16), kBigEndian ? 51 : 52 - 44) << "the header size is what is left of it";
  EXPECT_EQ(view_->half(18), kBigEndian ? 65536 - 44 : 0);
  EXPECT_EQ(view_->pool().totalloc, allocated);
  EXPECT_EQ(bytes(value, 8), std::string(8, 'U'));
  expect_units(10);
}

TEST_F(GVarDeletion, HoldsTheWritersLock) {
  prepare([] {
    set_text(id_of(1), "value");
    set_text(id_of(2), "value");
  });
  set_semaphore(set_, 9);
  Child child(attached([] { ROQ_UTIL_GVarSetValue(id_of(1), nullptr, 0); }));
  EXPECT_TRUE(eventually([this] { return waiting_processes(set_) == 1; }));
  EXPECT_EQ(ids(), (Numbers{2, 1}));
  change_semaphore(set_, 1);
  EXPECT_TRUE(child.wait().killed_by(SIGSEGV));
  expect_units(10);
}

} // namespace
