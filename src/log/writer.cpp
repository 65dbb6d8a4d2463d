// The record writers: open, lock, append, unlock, close, per handle mode.
#include <fcntl.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "../platform/clock_internal.h"
#include "ky/log.h"
#include "ky/memory.h"
#include "ky/platform.h"
#include "ky/strings.h"

namespace {

constexpr size_t kHeaderSize = 1024;
constexpr size_t kOriginSize = 8192;
constexpr size_t kMessageSize = 16384;
constexpr size_t kPathSize = 4096;

// The executable's file name, resolved once per process. A function-local
// static rather than a plain buffer so that threads logging their first
// records at the same moment do not race on it.
class ProcessName {
 public:
  ProcessName() {
    char link[kPathSize];
    ky_snzprintf(link, sizeof link, "/proc/%lu/exe",
                 static_cast<unsigned long>(ky_CurrentProcessId()));
    char resolved[kPathSize];
    // Without /proc, or with an executable that cannot be resolved (deleted,
    // or in another mount namespace), no name is known.
    if (::access(link, F_OK) != 0 || !::realpath(link, resolved)) {
      ky_strxnzcpy(path_, "<N/A>", sizeof path_ - 1);
      name_ = path_;
      return;
    }
    ky_strxnzcpy(path_, resolved, sizeof path_ - 1);
    name_ = ky_PathFileName(path_);
  }
  const char* Name() const { return name_; }

 private:
  char path_[kPathSize];
  const char* name_;
};

const char* OwnProcessName() {
  static const ProcessName cache;
  return cache.Name();
}

// Where a call writes and what its close step must do.
struct Target {
  int fd = -1;
  bool takesLock = false;             // this call requests the file lock itself
  bool locked = false;                // the lock is held (by this call or by the holder)
  bool closes = false;                // the close step unlocks and closes
  LogFileHandle** release = nullptr;  // slot to free and clear after closing
};

bool OpenStep(const char* path, LogFileHandle** slot, int mode, Target* t) {
  switch (mode) {
    case OpenPerCall:
    case OpenAndHold: {
      if (!path || !*path) return false;
      const int fd = ::open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0660);
      if (fd < 0) return false;
      t->fd = fd;
      t->takesLock = true;
      t->closes = mode == OpenPerCall || !slot;
      if (!t->closes) {
        auto* handle = static_cast<LogFileHandle*>(ky_malloc(sizeof(LogFileHandle)));
        if (!handle) {
          ::close(fd);
          return false;
        }
        handle->fd = fd;
        *slot = handle;
      }
      return true;
    }
    case UseHeld:
    case UseHeldAndRelease:
      if (!slot || !*slot || (*slot)->fd < 0) return false;
      t->fd = (*slot)->fd;
      t->locked = true;
      if (mode == UseHeldAndRelease) {
        t->closes = true;
        t->release = slot;
      }
      return true;
    default:
      return false;
  }
}

// Requests or releases the whole-file write lock, waiting for it and
// retrying when a signal interrupts the wait.
bool WholeFileLock(int fd, short type) {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = 0;
  lock.l_len = 0;  // to the end and beyond
  int r;
  do {
    r = ::fcntl(fd, F_SETLKW, &lock);
  } while (r == -1 && errno == EINTR);
  return r == 0;
}

void LockStep(Target* t) {
  // A lock that cannot be had for another reason (a file system without
  // locks, say) still lets the record through: a possibly interleaved record
  // is better than a lost one.
  if (t->takesLock) t->locked = WholeFileLock(t->fd, F_WRLCK);
  // No seek to the end: every descriptor the writers use was opened with
  // O_APPEND, so each write lands at the end as the file stands then.
}

// Text cut to a capacity, as bounded printf cuts it: the first size - 1
// characters and a NUL. Null strings read "(null)", as with printf's %s.
class Text {
 public:
  Text(char* buffer, size_t size) : begin_(buffer), at_(buffer), last_(buffer + size - 1) {}
  void Put(const char* s, size_t n) {
    const auto room = static_cast<size_t>(last_ - at_);
    if (n > room) n = room;
    std::memcpy(at_, s, n);
    at_ += n;
  }
  void Put(const char* s) {
    if (!s) s = "(null)";
    Put(s, ::strnlen(s, static_cast<size_t>(last_ - at_)));
  }
  void Put(char c) { Put(&c, 1); }
  void PutNumber(unsigned long v, bool negative = false) {
    char digits[24];
    size_t n = 0;
    do {
      digits[sizeof digits - ++n] = static_cast<char>('0' + v % 10);
      v /= 10;
    } while (v != 0);
    if (negative) digits[sizeof digits - ++n] = '-';
    Put(digits + sizeof digits - n, n);
  }
  const char* Finish() {
    *at_ = '\0';
    return begin_;
  }

 private:
  char* begin_;
  char* at_;
  char* last_;
};

// Gathers a record's pieces and hands them to the kernel in one call where it
// can: short pieces are copied into a staging area and go out in one write;
// long ones join it as iovecs of one writev. Only a text with very many
// line breaks takes more than one call. One call per record keeps threads of
// one process from interleaving records, which the process-wide file lock
// cannot do, and a single contiguous write is the cheapest way in.
class Sink {
 public:
  Sink(int fd, bool crlf) : fd_(fd), eol_(crlf ? "\r\n" : "\n"), eolLen_(crlf ? 2 : 1) {}
  Sink(const Sink&) = delete;
  Sink& operator=(const Sink&) = delete;

  void Eol() { Add(eol_, eolLen_); }

  // Writes text in runs free of CR and LF with a line end for each break:
  // CR LF, a lone CR or a lone LF (so LF CR is two breaks).
  void Normalised(const char* text) {
    if (!text) return;
    for (;;) {
      const size_t run = std::strcspn(text, "\r\n");
      if (run) Add(text, run);
      text += run;
      if (*text == '\0') return;
      text += text[0] == '\r' && text[1] == '\n' ? 2 : 1;
      Eol();
    }
  }

  void Flush() {
    Seal();
    WritePieces();
    staged_ = sealed_ = 0;
  }

 private:
  static constexpr int kMaxPieces = 64;
  static constexpr size_t kStage = 2048;
  static constexpr size_t kCopyBelow = 512;

  void Add(const char* p, size_t n) {
    if (n < kCopyBelow) {
      if (staged_ + n > kStage) Flush();
      std::memcpy(stage_ + staged_, p, n);
      staged_ += n;
      return;
    }
    Seal();
    Piece(p, n);
  }

  // Turns what was staged since the last seal into a piece, so that pieces
  // stay in the order they were added.
  void Seal() {
    if (staged_ == sealed_) return;
    Piece(stage_ + sealed_, staged_ - sealed_);
    sealed_ = staged_;
  }

  // The staged bytes that pieces point at stay in place until Flush, so
  // writing the pieces early to make room leaves nothing dangling.
  void Piece(const char* p, size_t n) {
    if (count_ == kMaxPieces) WritePieces();
    pieces_[count_].iov_base = const_cast<char*>(p);
    pieces_[count_].iov_len = n;
    ++count_;
  }

  void WritePieces() {
    // A failed or short write loses the rest of the record; the writers
    // report nothing, so there is no one to tell.
    ssize_t r = 0;
    if (count_ == 1) {
      r = ::write(fd_, pieces_[0].iov_base, pieces_[0].iov_len);
    } else if (count_ > 1) {
      r = ::writev(fd_, pieces_, count_);
    }
    static_cast<void>(r);
    count_ = 0;
  }

  int fd_;
  const char* eol_;
  size_t eolLen_;
  int count_ = 0;
  size_t staged_ = 0;
  size_t sealed_ = 0;
  iovec pieces_[kMaxPieces];
  char stage_[kStage];
};

// Whether every conversion in format is one of %s %d %i %u %ld %li %lu %%,
// without flags, width or precision.
bool PlainConversions(const char* format) {
  while ((format = std::strchr(format, '%')) != nullptr) {
    ++format;
    if (*format == 'l') {
      ++format;
      if (*format != 'd' && *format != 'i' && *format != 'u') return false;
    } else if (*format != 's' && *format != 'd' && *format != 'i' && *format != 'u' &&
               *format != '%') {
      return false;
    }
    ++format;
  }
  return true;
}

// Formats a message as ky_vsnzprintf does. Most messages use only the plain
// conversions, and those are formatted here without the printf engine's
// set-up cost; anything else goes to the engine.
void FormatMessage(char (&out)[kMessageSize], const char* format, va_list args) {
  out[0] = '\0';
  if (!format) return;
  if (!PlainConversions(format)) {
    ky_vsnzprintf(out, sizeof out, format, args);
    return;
  }
  Text text(out, sizeof out);
  for (const char* at = format;;) {
    const char* percent = std::strchr(at, '%');
    if (!percent) {
      text.Put(at);
      break;
    }
    text.Put(at, static_cast<size_t>(percent - at));
    const bool isLong = percent[1] == 'l';
    const char conversion = percent[isLong ? 2 : 1];
    switch (conversion) {
      case 's':
        text.Put(va_arg(args, const char*));
        break;
      case 'd':
      case 'i': {
        const long v = isLong ? va_arg(args, long) : va_arg(args, int);
        text.PutNumber(v < 0 ? 0ul - static_cast<unsigned long>(v) : static_cast<unsigned long>(v),
                       v < 0);
        break;
      }
      case 'u':
        text.PutNumber(isLong ? va_arg(args, unsigned long) : va_arg(args, unsigned int));
        break;
      default:
        text.Put('%');
        break;
    }
    at = percent + (isLong ? 3 : 2);
  }
  text.Finish();
}

void CloseStep(Target* t, Sink* sink, bool closingEol) {
  if (!t->closes) {
    if (sink) sink->Flush();
    return;
  }
  if (sink) {
    if (closingEol) sink->Eol();
    sink->Flush();
  }
  // Closing a descriptor drops every lock the process holds on the file, so
  // an explicit unlock first would only repeat the work. t->locked says
  // whether there is one; either way it ends here.
  ::close(t->fd);
  if (t->release) {
    ky_free(*t->release);
    *t->release = nullptr;
  }
}

// Shared by the print forms: the text is already formatted.
void WriteText(Target t, int crlf, const char* text) {
  LockStep(&t);
  Sink sink(t.fd, crlf != 0);
  sink.Normalised(text);
  CloseStep(&t, &sink, false);
}

}  // namespace

extern "C" {

void ky_log_ex_va(const char* path, LogFileHandle** slot, int mode, int crlf, const char* name,
                  int level, const char* file, int line, const char* function, const char* format,
                  va_list args) {
  Target t;
  if (!OpenStep(path, slot, mode, &t)) return;

  const unsigned long pid = static_cast<unsigned long>(ky_CurrentProcessId());
  const unsigned long tid = static_cast<unsigned long>(ky_CurrentThreadId());
  // One clock reading serves both the stamp and the timer.
  timeval now{};
  const bool clock = ::gettimeofday(&now, nullptr) == 0;
  char stamp[ky::detail::kDateTimeText];
  ky::detail::FormatDateTime(stamp, clock ? &now : nullptr);
  int64_t elapsed = 0;
  if (clock) {
    if (!ky::detail::ElapsedMicros(int64_t{now.tv_sec} * 1000000 + now.tv_usec, &elapsed)) {
      elapsed = 0;
    }
  } else {
    ky_ExecutionTimerStart();  // the first record still starts the timer
  }
  char seconds[ky::detail::kSecondsText];
  ky::detail::FormatSeconds(seconds, elapsed);

  // "{%s%s%s} [ %s %0.4lf ] " and "(pid=%s:%lu,tid=%lu) < %s @ %s:%d >",
  // assembled by hand: the same text, without the printf engine's cost.
  char header[kHeaderSize];
  Text h(header, sizeof header);
  h.Put('{');
  if (name) {
    h.Put(name);
    h.Put(':');
  }
  h.Put(ky::log::LevelAbbreviation(level));
  h.Put("} [ ");
  h.Put(stamp);
  h.Put(' ');
  h.Put(seconds);
  h.Put(" ] ");
  h.Finish();

  char origin[kOriginSize];
  Text o(origin, sizeof origin);
  o.Put("(pid=");
  o.Put(OwnProcessName());
  o.Put(':');
  o.PutNumber(pid);
  o.Put(",tid=");
  o.PutNumber(tid);
  o.Put(") < ");
  o.Put(function);
  o.Put(" @ ");
  o.Put(file);
  o.Put(':');
  o.PutNumber(line < 0 ? 0ul - static_cast<unsigned long>(line) : static_cast<unsigned long>(line),
              line < 0);
  o.Put(" >");
  o.Finish();
  char message[kMessageSize];
  FormatMessage(message, format, args);

  LockStep(&t);
  Sink sink(t.fd, crlf != 0);
  sink.Normalised(header);
  sink.Normalised(origin);
  sink.Eol();
  if (message[0] != '\0') {
    sink.Normalised(message);
    sink.Eol();
  }
  // The blank line after a record comes from the close step, so records
  // written through a held file follow each other without it.
  CloseStep(&t, &sink, true);
}

void ky_log(const char* path, const char* name, int level, const char* file, int line,
            const char* function, const char* format, ...) {
  va_list args;
  va_start(args, format);
  ky_log_ex_va(path, nullptr, OpenPerCall, 1, name, level, file, line, function, format, args);
  va_end(args);
}

void ky_log_ex_print_va(const char* path, LogFileHandle** slot, int mode, int crlf,
                        const char* format, va_list args) {
  Target t;
  if (!OpenStep(path, slot, mode, &t)) return;
  char message[kMessageSize];
  FormatMessage(message, format, args);
  WriteText(t, crlf, message);
}

void ky_log_print(const char* path, const char* format, ...) {
  va_list args;
  va_start(args, format);
  ky_log_ex_print_va(path, nullptr, OpenPerCall, 1, format, args);
  va_end(args);
}

void ky_log_ex_writetext(const char* path, LogFileHandle** slot, int mode, int crlf,
                         const char* text) {
  Target t;
  if (!OpenStep(path, slot, mode, &t)) return;
  WriteText(t, crlf, text);
}

void ky_log_ex_writedata(const char* path, LogFileHandle** slot, int mode, const void* data,
                         size_t length) {
  Target t;
  if (!OpenStep(path, slot, mode, &t)) return;
  LockStep(&t);
  if (data && length) {
    const ssize_t r = ::write(t.fd, data, length);
    static_cast<void>(r);
  }
  CloseStep(&t, nullptr, false);
}

const char* ky_log_default_logfile(void) {
  struct DefaultPath {
    char text[kPathSize];
    DefaultPath() {
      const char* dir = ky_TempDir();
      if (std::strlen(dir) + 20 < sizeof text) {
        ky_JoinPath(text, sizeof text, dir, "quorvel.log");
      } else {
        ky_strxnzcpy(text, "quorvel.log", sizeof text - 1);
      }
    }
  };
  static const DefaultPath path;
  return path.text;
}

}  // extern "C"
