/* Maps something where module 3 of the variable store belongs, before the program that loads this begins. */
#include <stdint.h>
#include <sys/mman.h>

__attribute__((constructor)) static void occupy(void) {
  mmap((void*)(uintptr_t)0x2f200000, 4096, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0);
}
