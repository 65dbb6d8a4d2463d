// Joins and their measures. Three piece sources (an array, count variadic
// arguments, variadic arguments up to a null string) feed one loop per piece
// form, so the twenty-two names share two loops.
#include <cstdarg>
#include <cstring>

#include "ky/strings.h"

namespace {

// A piece: a string and, for counted forms, its length.
struct Piece {
  const char* s;
  size_t n;
};

class ArrayPieces {
 public:
  ArrayPieces(size_t count, const char** arr, const size_t* lens)
      : count_(arr ? count : 0), arr_(arr), lens_(lens) {}
  bool Next(Piece& p) {
    if (i_ == count_) return false;
    p = {arr_[i_], lens_ ? lens_[i_] : 0};
    ++i_;
    return true;
  }

 private:
  size_t count_;
  const char** arr_;
  const size_t* lens_;
  size_t i_ = 0;
};

// Variadic pieces: exactly `count` of them, or (count == kUntilNull) until a
// null string. A counted piece's length is the argument after its string.
constexpr size_t kUntilNull = static_cast<size_t>(-1);

class ArgPieces {
 public:
  // first is the named argument of the vl forms that take no count: it is the
  // first string, and the rest come from args.
  ArgPieces(va_list& args, size_t count, bool counted, bool has_first = false,
            const char* first = nullptr)
      : args_(args), left_(count), counted_(counted), pending_(has_first), first_(first) {}
  bool Next(Piece& p) {
    if (left_ == 0) return false;
    const char* s = pending_ ? first_ : va_arg(args_, const char*);
    pending_ = false;
    if (left_ == kUntilNull && !s) return false;
    if (left_ != kUntilNull) --left_;
    p = {s, counted_ ? va_arg(args_, size_t) : 0};
    return true;
  }

 private:
  va_list& args_;
  size_t left_;
  bool counted_;
  bool pending_;
  const char* first_;
};

enum class Form { kWhole, kCounted };

// Stores the pieces from dst on; returns the end (see the header), or null
// when there was no piece at all, in which case nothing was stored.
template <Form F, class Pieces>
char* Join(char* dst, Pieces&& pieces) {
  Piece p;
  if (!pieces.Next(p)) return nullptr;
  char* end = dst;
  do {
    end = F == Form::kWhole ? ky_strcpy_ep(end, p.s) : ky_strxncpy_ep(end, p.s, p.n);
  } while (pieces.Next(p));
  if (F == Form::kCounted) *end = '\0';
  return end;
}

template <Form F, class Pieces>
size_t Measure(Pieces&& pieces) {
  size_t total = 0;
  for (Piece p; pieces.Next(p);) total += F == Form::kWhole ? ky_strlen(p.s) : ky_strnlen(p.s, p.n);
  return total;
}

enum class Result { kDst, kEnd };

template <Form F, Result R, class Pieces>
char* JoinInto(char* dst, Pieces&& pieces) {
  if (!dst) return dst;
  char* end = Join<F>(dst, pieces);
  return R == Result::kEnd && end ? end : dst;
}

template <Form F, Result R>
char* JoinArgs(char* dst, size_t count, va_list& args) {
  return JoinInto<F, R>(dst, ArgPieces(args, count, F == Form::kCounted));
}

template <Result R>
char* JoinCountedArray(char* dst, size_t count, const char** arr, const size_t* lens) {
  // Without lengths the pieces are whole strings, and the result is dst even
  // for the _ep form: callers of the end-pointer form rely on passing lens.
  if (!lens) return ky_stracpy(dst, count, arr);
  if (!dst || !arr) return dst;
  if (count == 0) {
    *dst = '\0';
    return dst;
  }
  return JoinInto<Form::kCounted, R>(dst, ArrayPieces(count, arr, lens));
}

}  // namespace

extern "C" {

char* ky_stracpy(char* dst, size_t count, const char** arr) {
  return JoinInto<Form::kWhole, Result::kDst>(dst, ArrayPieces(count, arr, nullptr));
}
char* ky_stracpy_ep(char* dst, size_t count, const char** arr) {
  return JoinInto<Form::kWhole, Result::kEnd>(dst, ArrayPieces(count, arr, nullptr));
}
char* ky_strancpy(char* dst, size_t count, const char** arr, const size_t* lens) {
  return JoinCountedArray<Result::kDst>(dst, count, arr, lens);
}
char* ky_strancpy_ep(char* dst, size_t count, const char** arr, const size_t* lens) {
  return JoinCountedArray<Result::kEnd>(dst, count, arr, lens);
}

#define KY_JOIN_COUNT(name, form, result)               \
  char* name(char* dst, size_t count, ...) {            \
    va_list args;                                       \
    va_start(args, count);                              \
    char* r = JoinArgs<form, result>(dst, count, args); \
    va_end(args);                                       \
    return r;                                           \
  }
#define KY_JOIN_LIST(name, form, result)                     \
  char* name(char* dst, ...) {                               \
    va_list args;                                            \
    va_start(args, dst);                                     \
    char* r = JoinArgs<form, result>(dst, kUntilNull, args); \
    va_end(args);                                            \
    return r;                                                \
  }

KY_JOIN_COUNT(ky_strvacpy, Form::kWhole, Result::kDst)
KY_JOIN_COUNT(ky_strvacpy_ep, Form::kWhole, Result::kEnd)
KY_JOIN_COUNT(ky_strvancpy, Form::kCounted, Result::kDst)
KY_JOIN_COUNT(ky_strvancpy_ep, Form::kCounted, Result::kEnd)
KY_JOIN_LIST(ky_strvlacpy, Form::kWhole, Result::kDst)
KY_JOIN_LIST(ky_strvlacpy_ep, Form::kWhole, Result::kEnd)
KY_JOIN_LIST(ky_strvlancpy, Form::kCounted, Result::kDst)
KY_JOIN_LIST(ky_strvlancpy_ep, Form::kCounted, Result::kEnd)

#undef KY_JOIN_COUNT
#undef KY_JOIN_LIST

size_t ky_stralen(size_t count, const char** arr) {
  return Measure<Form::kWhole>(ArrayPieces(count, arr, nullptr));
}
size_t ky_stranlen(size_t count, const char** arr, const size_t* lens) {
  if (!lens) return ky_stralen(count, arr);
  return Measure<Form::kCounted>(ArrayPieces(count, arr, lens));
}

size_t ky_strvalen(size_t count, ...) {
  va_list args;
  va_start(args, count);
  const size_t r = Measure<Form::kWhole>(ArgPieces(args, count, false));
  va_end(args);
  return r;
}
size_t ky_strvanlen(size_t count, ...) {
  va_list args;
  va_start(args, count);
  const size_t r = Measure<Form::kCounted>(ArgPieces(args, count, true));
  va_end(args);
  return r;
}
size_t ky_strvlalen(const char* first, ...) {
  va_list args;
  va_start(args, first);
  const size_t r = Measure<Form::kWhole>(ArgPieces(args, kUntilNull, false, true, first));
  va_end(args);
  return r;
}
size_t ky_strvlanlen(const char* first, ...) {
  va_list args;
  va_start(args, first);
  const size_t r = Measure<Form::kCounted>(ArgPieces(args, kUntilNull, true, true, first));
  va_end(args);
  return r;
}

}  // extern "C"
