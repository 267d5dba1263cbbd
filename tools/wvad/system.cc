// SPDX-License-Identifier: Apache-2.0
#include "wvad/system.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "wvad/failure.h"
#include "wvad/path_from_anywhere.h"
#include "wvad/quiet_errors.h"
#include "wvad/temporary_file.h"

namespace TSEG::tool {
namespace {

volatile sig_atomic_t interrupted = 0;
std::atomic<bool> reading_stopped = false;

// What a signal handler may look at: names in fixed places, each with a mark that is set last and taken away first.
struct DoomedName {
  std::atomic<bool> taken = false;
  std::atomic<bool> set = false;
  char path[PATH_MAX];
};
constexpr int kDoomedNames = 64;
DoomedName doomed_names[kDoomedNames];
static_assert(std::atomic<bool>::is_always_lock_free);

void OnInterrupt(int signal_number) {
  if (interrupted == 0) {
    interrupted = 1;
    return;
  }
  for (DoomedName& name : doomed_names) {
    if (name.set) unlink(name.path);
  }
  signal(signal_number, SIG_DFL);
  raise(signal_number);
}

}  // namespace

std::vector<std::string> Arguments(int argc, char** argv) { return {argv, argv + argc}; }

std::string Variable(const char* name) {
  const char* value = getenv(name);
  return value != nullptr ? value : "";
}

bool DateOf(std::time_t seconds, std::tm* date) { return gmtime_r(&seconds, date) != nullptr; }

bool IsTerminal(int descriptor) { return isatty(descriptor) == 1; }

int TerminalWidth() {
  winsize size{};
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
  return 80;
}

int TextWidth() {
  const char* wanted = getenv("COLUMNS");
  if (const int columns = wanted != nullptr ? atoi(wanted) : 0; columns > 0) return columns;
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
  return TerminalWidth();
}

std::string TerminalKind() { return Variable("TERM"); }

std::string PathFromProgram(const std::string& absolute) { return PathFromAnywhere(absolute); }

std::error_code PlaceFile(const std::string& file, const std::string& place) {
  std::error_code error;
  std::filesystem::create_symlink(file, place, error);
  return error;
}

std::string ProgramFolder() {
  std::error_code error;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? std::string() : program.parent_path().string();
}

void HoldStandardDescriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(descriptor, F_GETFD) >= 0) continue;
    // The lowest free number is taken, and the wrong direction on purpose.
    if (open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY) != descriptor) return;
  }
}

void IgnoreSignalsOfWriting() {
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
}

void RememberInterrupts() {
  struct sigaction action {};
  action.sa_handler = OnInterrupt;  // without SA_RESTART: a read that waits has to return
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  // Who starts the program under nohup wants it to outlive the terminal.
  struct sigaction before {};
  if (sigaction(SIGHUP, nullptr, &before) == 0 && before.sa_handler != SIG_IGN) sigaction(SIGHUP, &action, nullptr);
}

bool Interrupted() { return interrupted != 0; }

void StopReading() { reading_stopped = true; }

bool ReadingStopped() { return reading_stopped || Interrupted(); }

void* LoadSymbol(const std::string& file, const char* name, std::string* reason) {
  void* object = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  void* symbol = object != nullptr ? dlsym(object, name) : nullptr;
  if (symbol != nullptr) return symbol;
  const char* words = dlerror();
  *reason = words != nullptr ? words : file + " has no " + name;
  return nullptr;
}

DoomedFile::DoomedFile(const std::string& path) {
  if (path.size() >= sizeof doomed_names[0].path) return;
  for (int i = 0; i < kDoomedNames && slot_ < 0; ++i) {
    if (!doomed_names[i].taken.exchange(true)) slot_ = i;
  }
  if (slot_ < 0) return;
  std::memcpy(doomed_names[slot_].path, path.c_str(), path.size() + 1);
  doomed_names[slot_].set = true;
}

DoomedFile::~DoomedFile() {
  if (slot_ < 0) return;
  doomed_names[slot_].set = false;
  doomed_names[slot_].taken = false;
}

bool EndsWell(const std::function<void()>& act) {
  const pid_t child = fork();
  if (child == 0) {
    const rlimit no_core = {0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    act();
    _exit(0);
  }
  int status = 0;
  while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return child < 0 || (WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

bool CanOpen(int count) {
  std::vector<int> opened;
  while (static_cast<int>(opened.size()) < count) {
    const int descriptor = open("/", O_PATH | O_CLOEXEC);
    if (descriptor < 0) break;
    opened.push_back(descriptor);
  }
  for (const int descriptor : opened) close(descriptor);
  return static_cast<int>(opened.size()) == count;
}

PrivateFolder::PrivateFolder() {
  const char* wanted = getenv("TMPDIR");
  // The folder's name goes into a configuration line, where these characters would be taken for something else.
  const bool usable = wanted != nullptr && wanted[0] == '/' && std::string(wanted).find_first_of("\\\"'\n\r\t") == std::string::npos;
  for (const std::string& parent : {usable ? std::string(wanted) : std::string("/tmp"), std::string("/tmp")}) {
    std::string name = parent + "/wvad-XXXXXX";
    if (mkdtemp(name.data()) != nullptr) {
      path_ = name;
      return;
    }
  }
  throw Failure(ExitCode::kOutput,
                "no temporary folder can be made in " + std::string(usable ? wanted : "/tmp") + kOtherFolderForTemporary);
}

PrivateFolder::~PrivateFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

struct CurrentFolder::WayBack {
  WayBack() : descriptor(open(".", O_PATH | O_DIRECTORY | O_CLOEXEC)) {}
  ~WayBack() {
    if (descriptor >= 0) close(descriptor);
  }
  WayBack(const WayBack&) = delete;
  WayBack& operator=(const WayBack&) = delete;
  int descriptor;
};

CurrentFolder::CurrentFolder(const std::string& folder) : way_back_(std::make_unique<WayBack>()) {
  if (chdir(folder.c_str()) != 0) throw Failure(ExitCode::kOutput, "cannot enter " + folder);
}

CurrentFolder::~CurrentFolder() {
  if (way_back_->descriptor >= 0 && fchdir(way_back_->descriptor) == 0) return;
  if (chdir("/") != 0) std::perror("wvad: cannot leave the temporary folder");
}

OutputToError::OutputToError() {
  std::fflush(stdout);
  saved_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
  if (saved_ >= 0) dup2(STDERR_FILENO, STDOUT_FILENO);
}

OutputToError::~OutputToError() {
  std::fflush(stdout);
  if (saved_ < 0) return;
  dup2(saved_, STDOUT_FILENO);
  close(saved_);
}

ErrorToNowhere::ErrorToNowhere() {
  std::fflush(stderr);
  saved_ = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (saved_ >= 0 && nowhere >= 0) dup2(nowhere, STDERR_FILENO);
  if (nowhere >= 0) close(nowhere);
}

ErrorToNowhere::~ErrorToNowhere() {
  std::fflush(stderr);
  if (saved_ < 0) return;
  dup2(saved_, STDERR_FILENO);
  close(saved_);
}

}  // namespace TSEG::tool
