/* What every header of the library shares: linkage and visibility of the exported names. */
#ifndef ROQUTIL_API_H
#define ROQUTIL_API_H

#if defined(__GNUC__)
#define ROQ_API __attribute__((visibility("default")))
#else
#define ROQ_API
#endif

#ifdef __cplusplus
#define ROQ_EXTERN_C_BEGIN extern "C" {
#define ROQ_EXTERN_C_END }
#else
#define ROQ_EXTERN_C_BEGIN
#define ROQ_EXTERN_C_END
#endif

#endif
