// File: ky/net.h
//
// Validation and normalisation of addresses and host names, host:port parsing and formatting.
#ifndef KY_NET_H
#define KY_NET_H

#include "ky/export.h"

#endif  // KY_NET_H
