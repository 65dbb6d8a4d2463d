// The constant tables of the codec family, and the library's one static initialiser, which binds
// the native data encoder alphabets to the ASCII ones.
#include "ky/codecs.h"

#include "codec_tables.inc"

namespace ky {
namespace {

// Encoding 0 names whatever family the platform uses; binding it here, once at load time, keeps
// that choice in one place rather than in every constant pointer.
struct NativeAlphabetBinder {
  NativeAlphabetBinder() { BindNativeAlphabets(); }
};
const NativeAlphabetBinder kBindNativeAlphabets;

}  // namespace
}  // namespace ky
