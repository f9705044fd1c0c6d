#include "terminalSecret.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "secretInput.h"

namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGQUIT, SIGHUP, SIGTSTP};
constexpr size_t kNumSignals = sizeof kSignals / sizeof kSignals[0];

volatile std::sig_atomic_t g_signal = 0;
void Remember(int signal) { g_signal = signal; }

// The terminal without echo, and signals that only end a read.
class QuietTerminal {
 public:
  QuietTerminal() : m_fd(open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    m_isTerminal = m_fd >= 0 && tcgetattr(m_fd, &m_before) == 0;
    if (m_isTerminal) BeQuiet();
  }
  ~QuietTerminal() {
    if (m_isTerminal) BeAsBefore();
    if (m_fd >= 0) close(m_fd);
  }
  QuietTerminal(const QuietTerminal &) = delete;
  QuietTerminal &operator=(const QuietTerminal &) = delete;

  bool IsTerminal() const { return m_isTerminal; }
  // To the end of a line. @return what is wrong, or ""
  std::string Ask(const std::string &prompt, kxBinBuf &area, size_t *len) {
    for (;;) {
      if (!Write(prompt)) return "cannot be written";
      std::string wrong = ReadLine(area, len);
      if (g_signal != SIGTSTP) return wrong;
      // Stopped here; who comes back finds the question again, and begins anew.
      BeAsBefore();
      BeQuiet();
    }
  }

 private:
  void BeQuiet() {
    g_signal = 0;
    struct sigaction action = {};
    action.sa_handler = Remember;  // without SA_RESTART
    for (size_t i = 0; i < kNumSignals; ++i) sigaction(kSignals[i], &action, &m_actions[i]);
    termios quiet = m_before;
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(m_fd, TCSAFLUSH, &quiet);
  }
  // The signal that came does then what it does elsewhere.
  void BeAsBefore() {
    Write("\n");
    tcsetattr(m_fd, TCSADRAIN, &m_before);
    for (size_t i = 0; i < kNumSignals; ++i) sigaction(kSignals[i], &m_actions[i], nullptr);
    if (g_signal != 0) raise(g_signal);
  }
  bool Write(const std::string &text) const {
    return write(m_fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  }
  // For something to read, or a signal. One that comes just before poll does not end it, nor does one that another thread
  // takes: it is seen a little later.
  void Wait() const {
    constexpr int kLookMs = 100;
    pollfd terminal = {m_fd, POLLIN, 0};
    while (g_signal == 0 && poll(&terminal, 1, kLookMs) <= 0) {}
  }
  std::string ReadLine(kxBinBuf &area, size_t *len) const {
    for (*len = 0; *len < area.Len();) {
      Wait();
      if (g_signal != 0) return "was interrupted";
      const ssize_t got = read(m_fd, area.Data() + *len, area.Len() - *len);
      if (got < 0 && errno == EINTR) continue;
      if (got < 0) return std::string("cannot be read: ") + std::strerror(errno);
      if (got == 0) return *len == 0 ? "no password was typed" : "";
      *len += static_cast<size_t>(got);
      if (area.Data()[*len - 1] == '\n') return --*len, "";
    }
    return "longer than " + std::to_string(kMaxSecretLen) + " octets";
  }

  const int m_fd;
  bool m_isTerminal = false;
  termios m_before = {};
  struct sigaction m_actions[kNumSignals] = {};
};

}  // namespace

bool HasTerminal() {
  const int fd = open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (fd < 0) return false;
  close(fd);
  return true;
}

std::string AskTerminal(const std::string &prompt, kxBinBuf &out) {
  kxBinBuf area;
  area.SetSensitive(true);
  area.Set(static_cast<unsigned int>(kMaxSecretLen + 1));
  size_t len = 0;
  std::string error = "there is no terminal";
  {
    QuietTerminal terminal;
    if (terminal.IsTerminal()) error = terminal.Ask(prompt, area, &len);
  }
  if (!error.empty()) return "the terminal: " + error;
  area.Set(static_cast<unsigned int>(len));  // shrinks and wipes the rest
  out.SetSensitive(true);
  out = std::move(area);
  return "";
}
