/* Shows the bytes of a small module: header, pool handle, blocks, nodes and values, as they lie in memory. */
#include <roqutil.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

enum { MODULE = 2, SEGMENT_SIZE = 1024, HEADER_SIZE = 52 };

static const unsigned char* const segment = (const unsigned char*)(uintptr_t)(0x2EF00000 + MODULE * 0x100000);

static void print_bytes(unsigned offset, unsigned width) {
  printf("%4u ", offset);
  for (unsigned i = 0; i < width; ++i)
    printf(" %02x", segment[offset + i]);
}

static uint32_t word_at(unsigned offset) {
  uint32_t word;
  memcpy(&word, segment + offset, sizeof word);
  return word;
}

static void print_word(unsigned offset, const char* meaning) {
  print_bytes(offset, 4);
  printf("  %08x  %s\n", word_at(offset), meaning);
}

static void print_half(unsigned offset, const char* meaning) {
  uint16_t half;
  memcpy(&half, segment + offset, sizeof half);
  print_bytes(offset, 2);
  printf("            %04x  %s\n", half, meaning);
}

static void print_text(unsigned offset, unsigned length) {
  print_bytes(offset, length);
  printf("  \"%.*s\"\n", (int)length, (const char*)segment + offset);
}

static void print_header(void) {
  puts("header");
  print_word(0, "magic");
  print_word(4, "pool length");
  print_word(8, "semaphore id");
  print_word(12, "reserved");
  print_half(16, "header size");
  print_half(18, "reserved");
  print_word(20, "newest variable");
  puts("pool handle");
  print_word(24, "prevfree");
  print_word(28, "bsize");
  print_word(32, "flink");
  print_word(36, "blink");
  print_word(40, "totalloc");
  print_word(44, "getcount");
  print_word(48, "relcount");
}

/* The blocks stand one behind the other, up to the one whose size is 0x80000000. */
static unsigned print_blocks(void) {
  unsigned offset = HEADER_SIZE;
  int32_t size = (int32_t)word_at(offset + 4);
  while (size != INT32_MIN) {
    puts(size < 0 ? "allocated block" : "free block");
    print_word(offset, "prevfree");
    print_word(offset + 4, "bsize");
    if (size > 0) {
      print_word(offset + 8, "flink");
      print_word(offset + 12, "blink");
      print_word(offset + 16, "wiped, and so on up to the next block");
    }
    offset += (unsigned)(size < 0 ? -size : size);
    size = (int32_t)word_at(offset + 4);
  }
  puts("end mark");
  print_word(offset, "prevfree");
  print_word(offset + 4, "bsize");
  return offset + 8;
}

static void print_variables(void) {
  for (uint32_t node = word_at(20); node != 0;) {
    unsigned offset = node - (unsigned)(uintptr_t)segment;
    puts("variable");
    print_word(offset, "id");
    print_word(offset + 4, "value");
    print_word(offset + 8, "length");
    print_word(offset + 12, "next older variable");
    print_text(word_at(offset + 4) - (unsigned)(uintptr_t)segment, word_at(offset + 8));
    node = word_at(offset + 12);
  }
}

int main(void) {
  if (ROQ_UTIL_GVarInit(MODULE, SEGMENT_SIZE, HEADER_SIZE, NULL) != 0) return 1;
  ROQ_UTIL_GVarSetValue(0x00020001, "ppp0", 4);
  ROQ_UTIL_GVarSetValue(0x00020002, "203.0.113.2", 11);
  print_header();
  unsigned end = print_blocks();
  print_variables();
  return end == SEGMENT_SIZE ? 0 : 1;
}
