// Every data decoder on fuzzed text, and every encoder on fuzzed bytes.
// Checked: decoding stores no more than data_decode_length says (the output
// is an exact-size heap block, so ASan sees an overrun) and exactly that on
// success; text that the strict types accept is the one text that their
// encoder writes for the bytes; decode(encode(x)) == x.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#include "ky/codecs.h"

namespace {

void Check(bool ok) {
  if (!ok) std::abort();
}

template <ky::data_encoder_type::Type T, ky::encoding::Encoding E>
void One(const uint8_t* data, size_t size) {
  const char* text = reinterpret_cast<const char*>(data);
  const size_t room = ky::data_decode_length<T, E>(text, size);
  std::unique_ptr<unsigned char[]> bytes(new unsigned char[room]);
  const ky::data_decode_result r = ky::data_decode<T, E>(text, size, bytes.get());
  Check(r.length <= room && r.offset <= size);
  const int t = static_cast<int>(T);
  const bool any_case = t >= 4 && t % 2 == 0;
  if (r.ok()) {
    Check(r.length == room && r.offset == size);
    std::unique_ptr<char[]> again(new char[size]);
    Check(ky::data_encode<T, E>(bytes.get(), room, again.get()) == size);
    Check(any_case || std::memcmp(again.get(), text, size) == 0);
  }

  const size_t len = ky::data_encode_length<T, E>(size);
  std::unique_ptr<char[]> enc(new char[len]);
  Check(ky::data_encode<T, E>(data, size, enc.get()) == len);
  Check(ky::data_decode_length<T, E>(enc.get(), len) == size);
  std::unique_ptr<unsigned char[]> dec(new unsigned char[size]);
  const ky::data_decode_result back = ky::data_decode<T, E>(enc.get(), len, dec.get());
  Check(back.ok() && back.length == size && std::memcmp(dec.get(), data, size) == 0);
}

template <int... I>
void All(const uint8_t* data, size_t size, std::integer_sequence<int, I...>) {
  (One<static_cast<ky::data_encoder_type::Type>(I / 4 + 1),
       static_cast<ky::encoding::Encoding>(I % 4)>(data, size),
   ...);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  All(data, size, std::make_integer_sequence<int, 14 * 4>());
  return 0;
}
