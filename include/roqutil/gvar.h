/*
 * The store of named global variables: values of any bytes that all processes of the gateway share.
 *
 * Each platform module (0 to 6) owns one System V shared memory segment, attached by every process at the same fixed
 * address, so that addresses stored inside it are valid everywhere:
 *
 *   key      ftok("/var/", 103 + module), for the segment and for its semaphore set
 *   address  0x2EF00000 + module * 0x100000 (module 0 at 0x2EF00000, module 6 at 0x2F500000)
 *   size     1,024 to 0x80000 bytes
 *
 * Segment layout; multi-byte fields in the processor's own order, addresses of 32 bits on every machine:
 *
 *   offset  field
 *        0  u32  magic 0x00042047 (not checked on attach)
 *        4  u32  pool length: segment size less header size
 *        8  s32  semaphore id; 0 means no locking
 *       12  u32  reserved, zero
 *       16  u16  header size, its low 16 bits
 *       18  u16  reserved, zero
 *       20  u32  address of the newest variable's node, 0 when there is none
 *       24       pool handle, 28 bytes
 *       52       the owning module's own area, up to the header size; zero in a new segment
 *   header size  the pool, from which nodes and values are allocated
 *
 * Variable node, 16 bytes: u32 id, u32 address of the value, u32 length (never 0), u32 address of the next older
 * node or 0.
 *
 * Locking: one semaphore, 10 units. Readers take 1, writers all 10, with undo when their process dies, without a time
 * limit, again after an interrupting signal. When the set is gone the access goes on without the lock. A process that
 * dies inside an allocation can leave the pool inconsistent; the next process that meets the damage is stopped by an
 * assertion.
 *
 * HAZARDS
 *  - An id of 0 means "none" here, but Linux gives the id 0 to the first segment and the first semaphore set after
 *    boot. A module whose set has id 0 is not locked at all, and a segment with id 0 is not deleted and not removed
 *    after a failed initialisation. Use up id 0 of both kinds at boot: create a segment and a set and remove them.
 *  - Deleting a variable does not do what it says; see ROQ_UTIL_GVarSetValue.
 *  - Access to variables presumes that this process has attached the module (ROQ_UTIL_GVarInit, ROQ_UTIL_GVarInitEx or
 *    ROQ_UTIL_GVarAttach); on a segment that exists but is not attached here it faults.
 *
 * Example: one process creates module 2 and sets a value, another reads it.
 *
 *   uint32_t created;
 *   ROQ_UTIL_GVarInit(2, 0x10000, 52, &created);
 *   ROQ_UTIL_GVarSetValue(0x00020001, "ppp0", 4);
 *
 *   char name[16];
 *   uint32_t length;
 *   ROQ_UTIL_GVarAttach(2);
 *   ROQ_UTIL_GVarGetValueEx(0x00020001, name, sizeof name, &length);
 */
#ifndef ROQUTIL_GVAR_H
#define ROQUTIL_GVAR_H

#include <roqutil/api.h>
#include <stdint.h>

ROQ_EXTERN_C_BEGIN

/* ---- Pool allocator ------------------------------------------------------------------------------------------------
 *
 * Carves one region of memory into buffers. Everything it knows lies in the handle and in the region, so both may lie
 * in shared memory; it takes no lock, and callers serialise the calls on one handle. Handles and regions are aligned
 * to 4 bytes.
 *
 * Every block begins with a header of 8 bytes: `prevfree`, the size of the block in front of it when that one is free,
 * else 0; and `bsize`, its own size with the header, negated when it is allocated. A free block goes on with `flink`
 * and `blink`, the next and the previous free block or the handle. The region ends with a header whose `bsize` is
 * 0x80000000. Sizes are multiples of 4; the smallest block has 16 bytes, 8 of them usable. Free space behind the first
 * 16 bytes of a free block holds 0x55.
 *
 * Links hold the low 32 bits of an address and are widened relative to the handle, so that on 64-bit machines a pool
 * works anywhere as long as handle and region lie within 2 GiB of each other.
 *
 * Every operation checks what it touches. A failed check is an assertion: the C library's report on standard error
 * (source "bget.c", line, function, text), then SIGABRT.
 */

/* Heads a pool. Zero it or not before bpool, which sets every field; leave it alone afterwards. */
typedef struct RoqPoolHandle {
  int32_t prevfree, bsize; /* 0; in a segment, prevfree counts what deletions of variables released */
  uint32_t flink, blink;   /* first and last free block, or the handle itself */
  int32_t totalloc;        /* bytes allocated, block headers included */
  int32_t getcount;        /* successful allocations since bpool */
  int32_t relcount;        /* release calls since bpool, failed ones included */
} RoqPoolHandle;

/*
 * Makes a region of lLen bytes (rounded down to a multiple of 4) one free block of lLen - 8 bytes. What the handle
 * described before is discarded: a handle manages exactly one region.
 *
 * Stops the process when the handle is null ("pstBH"), when the region cannot hold a free block and the end mark
 * (fewer than 24 bytes), or when a byte of it is out of reach of the handle.
 */
ROQ_API void bpool(RoqPoolHandle* pstBH, void* pvRegion, int32_t lLen);

/*
 * Allocates lSize bytes from the smallest free block that is large enough, of equal ones the one that has been free
 * longest. A request is rounded up to a multiple of 4, to 8 at least, and the buffer may have up to 16
 * bytes more. Its content is whatever was there.
 *
 * Returns the buffer; null when no block is large enough, after printing "bget report: memory expired, pid:%d" and a
 * line end on standard output. Stops the process on a null handle ("pstBH") and on lSize <= 0 ("size > 0").
 */
ROQ_API void* bget(RoqPoolHandle* pstBH, int32_t lSize);

/*
 * As bget, with all usable bytes of the buffer set to zero.
 *
 * HAZARD: the check that the block is large enough compares it with the handle's address, the low 32 bits taken as a
 * signed number. With a handle below 0x80000000, as every handle of the store is, a successful allocation stops the
 * process ("rsize >= size"). Use bget and memset.
 */
ROQ_API void* bgetz(RoqPoolHandle* pstBH, int32_t lSize);

/*
 * Meant to reallocate pvBuf (null: a plain allocation) to lSize bytes.
 *
 * HAZARD: the allocation is made from the pool whose handle lies at the numeric address lSize. A size of 0 stops the
 * process ("pstBH", reported for bget), any other size reads that address, which normally faults. Only where such a
 * pool exists is the content copied and the old buffer released to pstBH; when that pool has no room, null after bget's
 * line, with the old buffer as it was. Stops the process on a null handle ("pstBH") and on an old buffer without usable
 * bytes ("osize > 0"). Use bget, memcpy and brel.
 */
ROQ_API void* bgetr(RoqPoolHandle* pstBH, void* pvBuf, int32_t lSize);

/*
 * Releases a buffer of bget: merges it with free neighbours and wipes it with 0x55.
 *
 * Counts the call before it checks anything but the handle. Stops the process on a null handle or buffer, on a buffer
 * that is not allocated ("b->bh.bsize < 0", also a second release), and on damage around it.
 */
ROQ_API void brel(RoqPoolHandle* pstBH, void* pvBuf);

/*
 * Statistics: bytes allocated with headers, free bytes in all, the largest free block (-1 when none is free),
 * successful allocations and release calls. No output pointer may be null. Stops the process on a null handle and on
 * a free block whose size is not positive.
 */
ROQ_API void bstats(RoqPoolHandle* pstBH, int32_t* plCurAlloc, int32_t* plTotFree, int32_t* plMaxFree, int32_t* plGets,
                    int32_t* plRels);

/* bpool; does nothing when the handle is null. */
ROQ_API void ROQ_UTIL_BgetInit(RoqPoolHandle* pstBH, void* pvRegion, int32_t lLen);

/* bget; null when the handle is null. */
ROQ_API void* ROQ_UTIL_BgetMalloc(RoqPoolHandle* pstBH, int32_t lSize);

/* brel; does nothing when the handle is null. A null buffer still stops the process. */
ROQ_API void ROQ_UTIL_BgetFree(RoqPoolHandle* pstBH, void* pvBuf);

/*
 * A copy of a text, terminator included, in the pool; released with ROQ_UTIL_BgetFree. Null when the handle or the
 * text is null or the pool has no room (then with bget's line on standard output).
 */
ROQ_API char* ROQ_UTIL_BgetStrdup(RoqPoolHandle* pstBH, const char* pcText);

/* ---- Segments ------------------------------------------------------------------------------------------------------
 *
 * All return 0 for success and 1 for failure unless they say otherwise, and print nothing.
 */

/*
 * Creates the module's segment, or finds the existing one, and attaches it at its fixed address. A new segment gets
 * its header and one pool behind it.
 *
 * ulModule      0 to 6
 * ulSize        segment size in bytes, 1,024 to 0x80000; an existing segment may be larger, but not smaller
 * ulHeaderSize  bytes in front of the pool, 52 at least and below ulSize; what lies behind the first 52 is the
 *               module's own. Give a multiple of 4. A size that leaves fewer than 24 bytes for the pool stops the
 *               process with the pool's assertion.
 * ulUseLock     non-zero: lock accesses with the module's semaphore set, which is created with 10 units when it does
 *               not exist. Zero: switch locking off, for every process that uses the module: the last initialiser
 *               decides.
 * pulCreated    1 when this call created the segment, 0 when it existed; written on success only; may be null
 *
 * Initialising twice is fine: the second call gives 0 with *pulCreated 0 and changes neither pool nor semaphore. An
 * attach fails when something other than this segment occupies the address in this process, also when that is the
 * module's former, deleted segment; a segment that the call created then stays, without its header. When the
 * semaphore cannot be had, or is not the one that the header names, the segment is removed, even one that existed
 * before.
 *
 * Creation is not locked: let one process initialise a module before others attach it.
 */
ROQ_API uint32_t ROQ_UTIL_GVarInitEx(uint32_t ulModule, uint32_t ulSize, uint32_t ulHeaderSize, uint32_t ulUseLock,
                                     uint32_t* pulCreated);

/* ROQ_UTIL_GVarInitEx with locking. */
ROQ_API uint32_t ROQ_UTIL_GVarInit(uint32_t ulModule, uint32_t ulSize, uint32_t ulHeaderSize, uint32_t* pulCreated);

/*
 * Attaches the existing segment of module 0 to 6 at its fixed address; 0 also when this process attached it before.
 * 1 when there is no such segment, it may not be read and written, the address is taken, or for modules from 7 on.
 */
ROQ_API uint32_t ROQ_UTIL_GVarAttach(uint32_t ulModule);

/*
 * Removes the module's segment; processes that have it attached keep their mapping. Its semaphore set stays.
 *
 * ulModule  0 to 6
 * ulSize    at most the segment's size; more gives 1. A segment that does not exist is created with this size and
 *           removed, which gives 0.
 *
 * Returns 0, 1 when no id above 0 could be had for the segment, or 0xFFFFFFFF when the removal was refused.
 *
 * HAZARD: the module's number is not checked, and 8 bits of 103 + ulModule make the key: 259 removes module 3.
 *
 * HAZARD: once the module was created anew, processes that still have the old segment attached go on reading and
 * writing that one, and no access fails. In them ROQ_UTIL_GVarAttach gives 1.
 */
ROQ_API uint32_t ROQ_UTIL_GVarDelModule(uint32_t ulModule, uint32_t ulSize);

/*
 * The address of the module's pool handle (segment address + 24) when its segment exists, else null. For modules 0 to
 * 16; nothing is attached. Lock out other processes yourself around calls that use the handle.
 */
ROQ_API RoqPoolHandle* ROQ_UTIL_GVarGetMemHandle(uint32_t ulModule);

/* ---- Variables -----------------------------------------------------------------------------------------------------
 *
 * A variable id is any 32-bit number; its high 16 bits are the number of the module that holds it. Callers agree on
 * ids among themselves. A missing module or variable is no error for the readers.
 *
 * An access asks the kernel once whether the segment still exists, and takes and gives back units of the semaphore:
 * three system calls. The first access to a module, and every access to one that does not exist, makes its key anew and
 * looks through the kernel's whole table of segments instead. Until that segment is gone, a process goes by the key it
 * made then: mount what belongs on /var before the store is used.
 */

/*
 * Copies the first bytes of a variable, at most ulBufLen, into pvBuf; no terminator is added.
 *
 * pulCopied  bytes copied, 0 when the variable does not exist; may be null
 *
 * Returns 1 when pvBuf is null (with *pulCopied 0), else 0, whether or not the variable exists. A value that was cut
 * cannot be told from one that just fits.
 */
ROQ_API uint32_t ROQ_UTIL_GVarGetValueEx(uint32_t ulId, void* pvBuf, uint32_t ulBufLen, uint32_t* pulCopied);

/*
 * A copy of the whole value on the process heap, which the caller releases with free.
 *
 * ppvValue  the copy; null when the variable does not exist
 * pulLen    its length, 0 when there is none; may be null
 *
 * Returns 1 when ppvValue is null (with *pulLen left alone) or the heap is exhausted (with null and 0), else 0.
 */
ROQ_API uint32_t ROQ_UTIL_GVarGetValueWithCopy(uint32_t ulId, void** ppvValue, uint32_t* pulLen);

/*
 * The address of the value inside the segment, not a copy; never freed by the caller. Null, with *pulLen left alone,
 * when the variable does not exist. pulLen may be null.
 *
 * HAZARD: the value is read without a lock. Another process may replace it at any time; the address then points to
 * wiped or reused memory. Use it for values that are set once.
 */
ROQ_API void* ROQ_UTIL_GVarGetValue(uint32_t ulId, uint32_t* pulLen);

/*
 * Sets a variable to a copy of ulLen bytes, replacing the old value; a new variable goes to the front of the module's
 * list. A length of 0 deletes the variable (see below).
 *
 * Returns 0 on success, also when a variable to delete does not exist; 1 when the module's segment does not exist,
 * pvValue is null with a length other than 0, or the pool has no room. The last prints "bget report: memory expired,
 * pid:%d" and a line end on standard output and leaves the variable as it was. While a value is replaced the pool
 * holds the old and the new one.
 *
 * HAZARD: deletion. The list is cut behind the variable, not around it: every variable that was set later than the
 * deleted one disappears from the list, and its memory stays allocated. Deleting the newest variable faults the
 * process (SIGSEGV). Otherwise value and node are released through the segment's base address instead of its pool
 * handle: the counts of the header are changed, and unless the blocks in front of the value and of the node are free
 * the process faults or is stopped by an assertion, with the writer's lock given back by the kernel. Do not delete
 * variables; set them to a value that means "none".
 */
ROQ_API uint32_t ROQ_UTIL_GVarSetValue(uint32_t ulId, const void* pvValue, uint32_t ulLen);

ROQ_EXTERN_C_END

#endif
