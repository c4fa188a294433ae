// SPDX-License-Identifier: MIT

#include "secret.h"

#include <fcntl.h>
#include <poll.h>
#include <sodium.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>

#include "held_signals.h"
#include "replacement.h"
#include "tool.h"

namespace tool {
namespace {

constexpr std::size_t kLongestSecret = std::size_t{1} << 20;

ssize_t readSome(int descriptor, char* room, std::size_t bytes) {
  ssize_t got = 0;
  do {
    got = ::read(descriptor, room, bytes);
  } while (got < 0 && errno == EINTR);
  return got;
}

void dropLineEnd(Secret& secret) {
  for (char const end : {'\n', '\r'}) {
    std::string_view const text = secret.text();
    if (!text.empty() && text.back() == end) secret.cut(text.size() - 1);
  }
}

Secret checked(Secret secret, std::string const& what) {
  dropLineEnd(secret);
  std::string_view const text = secret.text();
  if (text.empty()) throw Refused("the " + what + " is empty");
  if (text.find('\0') != text.npos) throw Refused("the " + what + " holds a NUL");
  if (text.find_first_of("\r\n") != text.npos) {
    throw Refused("the " + what + " has more than one line");
  }
  if (!isUtf8(text)) throw Refused("the " + what + " isn't UTF-8");
  return secret;
}

Secret readSecret(int descriptor, std::string const& what) {
  if (::isatty(descriptor) != 0) {
    throw Refused("file descriptor " + std::to_string(descriptor) +
                  " is a terminal, which would show the " + what +
                  ": without the option it is asked for unseen");
  }
  return checked(readAll(descriptor, kLongestSecret, what), what);
}

// ---- The terminal -------------------------------------------------------------------------------

// Becomes readable when a signal is held back.
class SignalSource {
 public:
  explicit SignalSource(HeldSignals const& held)
      : mDescriptor(::signalfd(-1, &held.signals(), SFD_CLOEXEC)) {
    if (mDescriptor < 0) throw Refused(std::string("can't wait: ") + std::strerror(errno));
  }
  SignalSource(SignalSource const&) = delete;
  SignalSource& operator=(SignalSource const&) = delete;
  ~SignalSource() { ::close(mDescriptor); }
  int get() const { return mDescriptor; }

 private:
  int mDescriptor;
};

// Keeps a terminal from showing what is typed, a line at a time.
class NoEcho {
 public:
  explicit NoEcho(int terminal) : mTerminal(terminal) {
    termios quiet{};
    bool isDone = ::tcgetattr(terminal, &mBefore) == 0;
    if (isDone) {
      quiet = mBefore;
      quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHOE | ECHOK | ECHONL);
      quiet.c_lflag |= ICANON;
      isDone = ::tcsetattr(terminal, TCSAFLUSH, &quiet) == 0;
    }
    if (!isDone) throw Refused(std::string("the terminal keeps its echo: ") + std::strerror(errno));
  }
  NoEcho(NoEcho const&) = delete;
  NoEcho& operator=(NoEcho const&) = delete;
  ~NoEcho() { ::tcsetattr(mTerminal, TCSANOW, &mBefore); }

 private:
  int mTerminal;
  termios mBefore{};
};

void show(int terminal, std::string const& text) {
  for (std::size_t shown = 0; shown < text.size();) {
    ssize_t const bytes = ::write(terminal, text.data() + shown, text.size() - shown);
    if (bytes < 0 && errno != EINTR) return;
    shown += static_cast<std::size_t>(std::max<ssize_t>(bytes, 0));
  }
}

constexpr std::size_t kTerminalLine = 4096;  // with its end; what is longer comes cut

// A line that is typed, or what there is of it at the end of all input; none if a signal wants to
// be heard.
std::optional<Secret> typedLine(int terminal, int signals) {
  Secret line;
  for (;;) {
    pollfd sources[] = {{signals, POLLIN, 0}, {terminal, POLLIN, 0}};
    if (::poll(sources, 2, -1) < 0 && errno != EINTR) throw Refused(std::strerror(errno));
    if (sources[0].revents != 0) return std::nullopt;
    if (sources[1].revents == 0) continue;
    ssize_t const got = readSome(terminal, line.room(kTerminalLine), kTerminalLine);
    if (got <= 0) return line;
    line.grow(static_cast<std::size_t>(got));
    if (line.text().size() >= kTerminalLine || line.text().back() == '\n') return line;
  }
}

std::optional<Secret> askLine(int terminal, int signals, std::string const& question,
                              std::string const& what) {
  show(terminal, question);
  std::optional<Secret> line = typedLine(terminal, signals);
  show(terminal, "\n");
  if (!line) return line;
  if (line->text().size() < kTerminalLine) return checked(std::move(*line), what);
  throw Refused("the " + what + " is longer than a terminal takes; give it through a descriptor");
}

enum class Times { kOnce, kTwice };

std::optional<Secret> ask(int terminal, std::string const& what, Times times) {
  HeldSignals const held;
  SignalSource const signals(held);
  NoEcho const quiet(terminal);
  std::optional<Secret> first = askLine(terminal, signals.get(), "The " + what + ": ", what);
  if (!first || times == Times::kOnce) return first;
  std::optional<Secret> const again = askLine(terminal, signals.get(), "Once more: ", what);
  if (!again) return std::nullopt;
  if (first->text() != again->text()) throw Refused("the two weren't the same; nothing was done");
  return first;
}

Descriptor openTerminal(std::string const& what) {
  try {
    return {"/dev/tty", O_RDWR | O_NOCTTY};
  } catch (Refused const&) {
    throw Refused("there is no terminal to ask for the " + what +
                  "; give it through a file descriptor");
  }
}

// Asks again after a pause.
Secret askTerminal(std::string const& what, Times times) {
  Descriptor const terminal = openTerminal(what);
  for (;;) {
    std::optional<Secret> secret = ask(terminal.get(), what, times);
    if (secret) return std::move(*secret);
  }
}

}  // namespace

std::size_t Secret::spare() const {
  return mBytes.size() - mLength - 1;
}

char* Secret::room(std::size_t bytes) {
  std::size_t const needed = mLength + bytes + 1;
  if (needed > mBytes.size()) {
    ztauth::SecretBytes larger(std::max(needed, 2 * mBytes.size()));
    std::copy_n(mBytes.data(), mLength, larger.data());
    mBytes = std::move(larger);
  }
  return reinterpret_cast<char*>(mBytes.data()) + mLength;
}

void Secret::cut(std::size_t length) {
  sodium_memzero(mBytes.data() + length, mLength - length);
  mLength = length;
}

void addSecretOption(CLI::App& app, std::string const& name, SecretPlace& place,
                     std::string const& description) {
  app.add_option("--" + name, place.descriptor, description)
      ->check(isBetween(0, 1 << 20))
      ->type_name(kNumber);
}

Secret takeSecret(std::string const& what, SecretPlace place) {
  if (place.descriptor == SecretPlace::kTerminal) return askTerminal(what, Times::kOnce);
  return readSecret(place.descriptor, what);
}

Secret takeNewSecret(std::string const& what, SecretPlace place) {
  if (place.descriptor == SecretPlace::kTerminal) return askTerminal(what, Times::kTwice);
  return readSecret(place.descriptor, what);
}

Secret readAll(int descriptor, std::size_t mostBytes, std::string const& what) {
  struct stat status = {};
  bool const isFile = ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
  std::size_t const size = isFile ? static_cast<std::size_t>(status.st_size) : 0;
  Secret all;
  all.room(std::clamp<std::size_t>(size + 1, 4096, mostBytes + 1));
  for (;;) {
    char* const end = all.room(1);
    ssize_t const got = readSome(descriptor, end, all.spare());
    if (got < 0) {
      throw Refused("the " + what + " can't be read from file descriptor " +
                    std::to_string(descriptor) + ": " + std::strerror(errno));
    }
    if (got == 0) return all;
    all.grow(static_cast<std::size_t>(got));
    if (all.text().size() > mostBytes) {
      throw Refused("the " + what + " is longer than " + std::to_string(mostBytes) + " bytes");
    }
  }
}

void wipe(ZtbString& text) {
  if (text.cStrSize() > 1) sodium_memzero(const_cast<char*>(text.asCstr()), text.cStrSize() - 1);
  text.setNull();
}

}  // namespace tool
