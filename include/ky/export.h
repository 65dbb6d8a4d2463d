// File: ky/export.h
//
// Visibility and attribute macros shared by the public headers. The library is
// built with hidden visibility; only declarations marked KY_API are exported.
#ifndef KY_EXPORT_H
#define KY_EXPORT_H

#if defined(__GNUC__) || defined(__clang__)
#define KY_API __attribute__((visibility("default")))
#define KY_PRINTF_LIKE(fmt_index, first_arg) __attribute__((format(printf, fmt_index, first_arg)))
#else
#define KY_API
#define KY_PRINTF_LIKE(fmt_index, first_arg)
#endif

#ifdef __cplusplus
#define KY_BEGIN_C extern "C" {
#define KY_END_C }
#else
#define KY_BEGIN_C
#define KY_END_C
#endif

#endif  // KY_EXPORT_H
