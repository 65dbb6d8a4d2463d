// The transcoding engine on fuzzed input, for every destination form and
// policy. The first byte picks the source form and seeds the room sizes; the
// rest, read as units of that form, is the source. Checked: the output of one
// call with ample room equals the slow reference; measuring agrees with it;
// a conversion into an exact-size heap block (so ASan sees any overrun) and
// one in small rooms drained between calls give the same output; the
// NUL-terminated form equals the counted one up to the first 0 unit; the
// enumerator yields the ReplaceInvalid conversion into UTF-32.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "ky/utf.h"
#include "reference/utf_reference.h"

namespace {

using namespace ky::utf;

void Check(bool ok) {
  if (!ok) std::abort();
}

template <typename To, typename From, InvalidSequenceOption Opt>
void Pair(const std::vector<From>& src, uint8_t seed) {
  const From* const start = src.data();
  const size_t len = src.size();
  const auto ref = ky::test::RefConvert<To, From>(start, len, Opt);

  size_t consumed = SIZE_MAX;
  const size_t count = _conversion_length<To, From, Opt>(start, len, consumed);
  Check(count == ref.out.size());
  Check(consumed == (len == 0 ? SIZE_MAX : ref.consumed));

  // Exact-size heap block. RejectInvalid needs room for the output it
  // withdraws and one unit more to reach the offending unit: with no room
  // left there, the destination is full before the unit is examined.
  const size_t room_size =
      Opt == RejectInvalid && ref.result == ConvertInvalidSequence
          ? ky::test::RefConvert<To, From>(start, len, StopOnInvalid).out.size() + 1
          : count;
  std::unique_ptr<To[]> block(new To[room_size + 1]);
  To* d = block.get() + 1;  // never null, even for room 0
  To* const d0 = d;
  size_t room = room_size;
  const From* s = start;
  size_t n = len;
  static const From kNothing = 0;
  if (len == 0) s = &kNothing;
  const ConvertResult r = _basic_convert<To, From, Opt>(d, room, s, n);
  Check(std::vector<To>(d0, d) == ref.out);
  if (r == ConvertDestinationFull) {
    Check(room == 0 && Opt != ReplaceInvalid);
  } else {
    Check(r == ref.result);
    Check(len - n == ref.consumed);
  }

  // Small rooms, drained between calls.
  std::vector<To> drained;
  To small[8];
  s = len ? start : &kNothing;
  n = len;
  uint32_t state = seed * 2654435761u + 1;
  ConvertResult last;
  for (int calls = 0;; ++calls) {
    Check(calls < 1000000);
    state = state * 1103515245u + 12345u;
    d = small;
    room = (state >> 16) % 7;
    last = _basic_convert<To, From, Opt>(d, room, s, n);
    drained.insert(drained.end(), small, d);
    if (last != ConvertDestinationFull) break;
  }
  Check(last == ref.result);
  Check(len - n == ref.consumed);
  if (!(Opt == RejectInvalid && ref.result == ConvertInvalidSequence)) Check(drained == ref.out);

  // NUL-terminated: up to the first 0 unit.
  size_t z = 0;
  while (z < len && start[z] != 0) ++z;
  std::vector<From> terminated(start, start + z);
  terminated.push_back(0);
  const auto tref = ky::test::RefConvert<To, From>(terminated.data(), z, Opt);
  std::vector<To> out(z * 4 + 1);
  d = out.data();
  room = out.size();
  s = terminated.data();
  Check(_basic_convert<To, From, Opt>(d, room, s) == tref.result);
  Check(static_cast<size_t>(s - terminated.data()) == tref.consumed);
  Check(std::vector<To>(out.data(), d) == tref.out);
  Check(_conversion_length<To, From, Opt>(terminated.data(), consumed) == tref.out.size());
  Check(consumed == tref.consumed);
}

template <typename From>
void Source(const uint8_t* data, size_t size, uint8_t seed) {
  std::vector<From> src(size / sizeof(From));
  if (!src.empty()) std::memcpy(src.data(), data, src.size() * sizeof(From));
  Pair<unsigned char, From, ReplaceInvalid>(src, seed);
  Pair<unsigned char, From, SkipInvalid>(src, seed);
  Pair<unsigned char, From, StopOnInvalid>(src, seed);
  Pair<unsigned char, From, RejectInvalid>(src, seed);
  Pair<unsigned short, From, ReplaceInvalid>(src, seed);
  Pair<unsigned short, From, SkipInvalid>(src, seed);
  Pair<unsigned short, From, StopOnInvalid>(src, seed);
  Pair<unsigned short, From, RejectInvalid>(src, seed);
  Pair<unsigned int, From, ReplaceInvalid>(src, seed);
  Pair<unsigned int, From, SkipInvalid>(src, seed);
  Pair<unsigned int, From, StopOnInvalid>(src, seed);
  Pair<unsigned int, From, RejectInvalid>(src, seed);

  const auto ref = ky::test::RefConvert<unsigned int, From>(src.data(), src.size(), ReplaceInvalid);
  ky::utf_enumerator<From> e(src.data(), src.data() + src.size());
  std::vector<unsigned int> cps;
  for (unsigned int cp; e.next(cp);) cps.push_back(cp);
  Check(cps == ref.out && e.index == cps.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const uint8_t seed = data[0];
  switch (seed % 3) {
    case 0:
      Source<unsigned char>(data + 1, size - 1, seed);
      break;
    case 1:
      Source<unsigned short>(data + 1, size - 1, seed);
      break;
    default:
      Source<unsigned int>(data + 1, size - 1, seed);
      break;
  }
  return 0;
}
