// The exported conversion, measuring and single-value instances whose
// destination is UTF-32, for every source form and policy.
#include "utf_internal.h"

KY_UTF_INSTANTIATE_TO(unsigned int)
