#include "output_file.h"
#include <fcntl.h>
#include <limits.h>
#include <sched.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>
#include "messages.h"

namespace {

// ---- Signals

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

// Files with a temporary name, which signals remove.
OutputFile* unfinished = nullptr;
// Who holds it may change that list, and names of files. A signal's handler takes it for good. So it must not be held by
// the thread that the handler interrupts, and waiting for it must be allowed there.
std::atomic_flag namesHeld = ATOMIC_FLAG_INIT;
void holdNames() {
  while (namesHeld.test_and_set(std::memory_order_acquire)) sched_yield();
}

// While files get or lose a name.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : kSignals) sigaddset(&set, signal);
    pthread_sigmask(SIG_BLOCK, &set, &before_);
    holdNames();
  }
  ~SignalsBlocked() {
    namesHeld.clear(std::memory_order_release);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t before_;
};

// The signal's usual action is set again by then, and follows.
void handleSignal(int signal) {
  OutputFile::removeUnfinished();
  raise(signal);
}

// Signals that the program was started to ignore stay ignored. Once: a signal whose usual action is set again ends the
// program.
void catchSignals() {
  static bool caught = false;
  if (std::exchange(caught, true)) return;
  for (const int signal : kSignals) {
    struct sigaction action;
    if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler != SIG_DFL) continue;
    action.sa_handler = handleSignal;
    action.sa_flags = int(SA_RESETHAND);
    sigaction(signal, &action, nullptr);
  }
}

constexpr size_t kMostWaiting = size_t(1) << 16;

// ---- Names

// With the slash.
std::string folderOf(const std::string& name) { return name.substr(0, name.rfind('/') + 1); }

// Where symbolic links lead, whether there is a file or not. A loop has been noticed before.
std::string followed(std::string name) {
  char to[PATH_MAX];
  for (ssize_t size; (size = readlink(name.c_str(), to, sizeof to)) > 0;)
    name = (to[0] == '/' ? "" : folderOf(name)) + std::string(to, size_t(size));
  return name;
}

// What an open file can be linked by.
std::string linkOf(int file) { return "/proc/self/fd/" + std::to_string(file); }

}  // namespace

OutputFile::OutputFile(const std::string& name, Unfinished kind) : name_(outputName(name)) {
  waiting_.reserve(kMostWaiting);
  if (isStandard(name)) {
    openStandard();
    return;
  }
  struct stat there;
  const bool exists = stat(name.c_str(), &there) == 0;
  if (exists && !S_ISREG(there.st_mode)) throw FileError(name, "cannot write: it is there and is not a regular file");
  if (!exists && errno != ENOENT) fail();
  target_ = followed(name);
  const mode_t mode = exists ? 0600 : 0666;
  const std::string folder = folderOf(target_);
  if (kind == Unfinished::kNamelessIfPossible)
    file_ = open(folder.empty() ? "." : folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, mode);
  if (file_ >= 0 && access(linkOf(file_).c_str(), F_OK) != 0) {
    close(file_);
    file_ = -1;
  }
  if (file_ < 0) openNamed(mode);
  if (exists) keepRights(there.st_uid, there.st_gid, there.st_mode & 0777);
}

void OutputFile::openStandard() {
  if (isatty(STDOUT_FILENO)) throw FileError(name_, "a terminal shows no pictures: name a file, or a pipe");
  file_ = dup(STDOUT_FILENO);
  if (file_ < 0) fail();
}

void OutputFile::fail() const { throw FileError(name_, std::string("cannot write: ") + strerror(errno)); }

// make(name) for names that are short, whatever the file's own is, until there is no such file yet.
template <class Make> bool OutputFile::makeTemporary(const Make& make) {
  bool made = false;
  for (int i = 0; !made && i < 1000; ++i) {
    temporary_ = folderOf(target_) + ".orv-" + std::to_string(getpid()) + "-" + std::to_string(i);
    made = make(temporary_.c_str());
    if (!made && errno != EEXIST) break;
  }
  if (!made) temporary_.clear();
  return made;
}

void OutputFile::openNamed(unsigned mode) {
  const SignalsBlocked blocked;
  catchSignals();
  const auto make = [&](const char* name) {
    return (file_ = open(name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode)) >= 0;
  };
  if (!makeTemporary(make)) fail();
  following_ = unfinished;
  unfinished = this;
}

void OutputFile::removeUnfinished() {
  holdNames();
  for (const OutputFile* file = unfinished; file; file = file->following_) unlink(file->temporary_.c_str());
}

// Called while signals are blocked.
void OutputFile::forgetTemporary() {
  OutputFile** at = &unfinished;
  while (*at && *at != this) at = &(*at)->following_;
  if (*at) *at = following_;
  temporary_.clear();
}

// Those of the file that is replaced. Where it cannot stay its group's, another group gets none.
void OutputFile::keepRights(unsigned user, unsigned group, unsigned mode) {
  if (fchown(file_, user, group) != 0 && fchown(file_, uid_t(-1), group) != 0) mode &= ~unsigned(S_IRWXG);
  fchmod(file_, mode);
}

OutputFile::~OutputFile() {
  if (file_ >= 0) close(file_);
  if (temporary_.empty()) return;
  const SignalsBlocked blocked;
  unlink(temporary_.c_str());
  forgetTemporary();
}

void OutputFile::writeNow(const char* data, size_t size) {
  while (size > 0) {
    const ssize_t written = ::write(file_, data, size);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) fail();
    data += written;
    size -= size_t(written);
  }
}

void OutputFile::write(const void* data, size_t size) {
  const char* const p = static_cast<const char*>(data);
  if (waiting_.size() + size > kMostWaiting) {
    writeNow(waiting_.data(), waiting_.size());
    waiting_.clear();
  }
  if (size > kMostWaiting)
    writeNow(p, size);
  else
    waiting_.insert(waiting_.end(), p, p + size);
}

// A link replaces no file, a renamed one does.
void OutputFile::linkNameless() {
  const std::string from = linkOf(file_);
  const auto link = [&](const char* to) {
    return linkat(AT_FDCWD, from.c_str(), AT_FDCWD, to, AT_SYMLINK_FOLLOW) == 0;
  };
  if (!link(target_.c_str()) && (errno != EEXIST || !makeTemporary(link))) fail();
}

void OutputFile::commit() {
  writeNow(waiting_.data(), waiting_.size());
  const SignalsBlocked blocked;
  if (target_.empty()) return;
  if (temporary_.empty()) linkNameless();
  const int file = file_;
  file_ = -1;
  if (close(file) != 0) fail();
  if (!temporary_.empty() && rename(temporary_.c_str(), target_.c_str()) != 0) fail();
  forgetTemporary();
}
