#include "Signals.h"

#include <sys/signalfd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

// Whoever started the tool may have wanted it to outlive a signal:
// (trap '' INT; exec zinpipe ...).
bool IsIgnored(int number) {
  struct sigaction action {};
  return sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

Signals::Signals() {
  for (const int number : {SIGHUP, SIGPIPE, SIGXFSZ}) (void)std::signal(number, SIG_IGN);
  sigset_t signals;
  sigemptyset(&signals);
  // A blocked signal would come even though it is ignored.
  for (const int number : {SIGTERM, SIGINT, SIGALRM, SIGUSR1}) {
    if (!IsIgnored(number)) sigaddset(&signals, number);
  }
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  descriptor = ::Descriptor(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
  if (!descriptor.IsOpen()) {
    throw std::runtime_error(std::string("cannot wait for signals: ") + std::strerror(errno));
  }
}

void Signals::Take() {
  signalfd_siginfo signal{};
  while (read(descriptor.Number(), &signal, sizeof signal) == sizeof signal) {
    switch (signal.ssi_signo) {
      case SIGALRM:
        rotationIsWanted = true;
        break;
      case SIGUSR1:
        if (sayCounts) sayCounts();
        break;
      default:
        ++stops;
    }
  }
}

bool Signals::TakeRotation() {
  return std::exchange(rotationIsWanted, false);
}
