// The record writers: open, lock, append, unlock, close, per handle mode.
#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "ky/log.h"
#include "ky/memory.h"
#include "ky/platform.h"
#include "ky/strings.h"

namespace {

constexpr size_t kHeaderSize = 1024;
constexpr size_t kOriginSize = 8192;
constexpr size_t kMessageSize = 16384;
constexpr size_t kStampSize = 256;
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
  ::lseek(t->fd, 0, SEEK_END);
}

// Gathers a record's pieces and hands them to the kernel in as few writev
// calls as possible: one, unless a text has very many line breaks. One call
// per record also keeps threads of one process from interleaving records,
// which the process-wide file lock cannot do.
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
    if (count_ == 0) return;
    // A failed or short write loses the rest of the record; the writers
    // report nothing, so there is no one to tell.
    const ssize_t r = ::writev(fd_, pieces_, count_);
    static_cast<void>(r);
    count_ = 0;
  }

 private:
  static constexpr int kMaxPieces = 64;

  void Add(const char* p, size_t n) {
    if (count_ == kMaxPieces) Flush();
    pieces_[count_].iov_base = const_cast<char*>(p);
    pieces_[count_].iov_len = n;
    ++count_;
  }

  int fd_;
  const char* eol_;
  size_t eolLen_;
  int count_ = 0;
  iovec pieces_[kMaxPieces];
};

void CloseStep(Target* t, Sink* sink, bool closingEol) {
  if (!t->closes) {
    if (sink) sink->Flush();
    return;
  }
  if (sink) {
    if (closingEol) sink->Eol();
    sink->Flush();
  }
  if (t->locked) WholeFileLock(t->fd, F_UNLCK);
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
  char stamp[kStampSize];
  ky_DateTimeStamp(stamp, sizeof stamp);
  const double elapsed = ky_ExecutionTimerElapsed();

  char header[kHeaderSize];
  ky_snzprintf(header, sizeof header, "{%s%s%s} [ %s %0.4lf ] ", name ? name : "", name ? ":" : "",
               ky::log::LevelAbbreviation(level), stamp, elapsed);
  char origin[kOriginSize];
  ky_snzprintf(origin, sizeof origin, "(pid=%s:%lu,tid=%lu) < %s @ %s:%d >", OwnProcessName(), pid,
               tid, function, file, line);
  char message[kMessageSize];
  message[0] = '\0';
  ky_vsnzprintf(message, sizeof message, format, args);

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
  message[0] = '\0';
  ky_vsnzprintf(message, sizeof message, format, args);
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
