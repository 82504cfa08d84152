#include "Signals.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <string>

StopSignals::StopSignals() : descriptor(-1) {
  (void)std::signal(SIGHUP, SIG_IGN);
  (void)std::signal(SIGPIPE, SIG_IGN);
  (void)std::signal(SIGXFSZ, SIG_IGN);
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  descriptor = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
  if (descriptor < 0) {
    throw std::runtime_error(std::string("cannot wait for signals: ") + std::strerror(errno));
  }
}

StopSignals::~StopSignals() {
  (void)close(descriptor);
}
