// File: ky/log.h
//
// Levelled, time-stamped log records appended to a file shared by processes, and hex dumps.
#ifndef KY_LOG_H
#define KY_LOG_H

#include "ky/export.h"

#endif  // KY_LOG_H
