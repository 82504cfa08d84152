// plugin_fork_driver <directory> <ledger> <scenario> <seed> <rounds> <plugin> [<plugin>]
// forks while threads log to both channels of libraries that it knows only through
// plugins. The scenarios:
//   older-handlers  its fork handlers are older than the library, and log
//   local, global   the second plugin brings a library of its own; each of the two
//                   sees only its own copy, or both use the first one
//
// Slot i of the ledger: records that thread i has handed over; slots from 10 on:
// records of metrics; slot 20: lines of the handlers, which the thread that forks
// logs. Streams: writer 0, one per slot, and writer n + 1 for the child of round n.
// A child's channel has a folder of its own.
#include <dlfcn.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <random>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "Ledger.h"
#include "Records.h"

namespace {

constexpr unsigned threadsPerPlugin = 2;
constexpr unsigned firstMetricsSlot = 10;
constexpr unsigned handlersSlot = 20;
constexpr std::uint64_t linesPerChild = 10;
constexpr unsigned childsSeconds = 40;  // only a hang takes as long

// Not the probes' own, which would bring the library along.
void Require(bool condition, const char* reason) {
  if (condition) return;
  (void)!write(STDOUT_FILENO, reason, std::char_traits<char>::length(reason));
  _exit(1);
}

class Plugin {
 public:
  // Stays loaded: the threads of its library do.
  Plugin(const char* path, int visibility) : handle(dlopen(path, RTLD_NOW | visibility)) {
    Require(handle != nullptr, "cannot load a plugin");
    Find("PluginStart", start);
    Find("PluginLog", log);
    Find("PluginMetrics", metrics);
    Find("PluginStop", stop);
  }

  void Start(const std::string& dir, int fileSizeMiB) const {
    Require(start(dir.c_str(), fileSizeMiB), "cannot start the channels");
  }
  void Emit(const RecordId& id) const { log(RecordText(id).c_str()); }
  void EmitMetric(const RecordId& id) const { metrics(RecordText(id).c_str()); }
  void Stop() const { stop(); }

 private:
  template <typename Function>
  void Find(const char* name, Function*& function) {
    function = reinterpret_cast<Function*>(dlsym(handle, name));
    Require(function != nullptr, "a plugin lacks a function");
  }

  void* handle;
  bool (*start)(const char*, int) = nullptr;
  void (*log)(const char*) = nullptr;
  void (*metrics)(const char*) = nullptr;
  void (*stop)() = nullptr;
};

struct Session {
  std::string dir;
  Ledger& ledger;
  std::vector<const Plugin*> plugins;
};

void LogUntilStopped(const std::stop_token& stop, Session& session, unsigned thread) {
  const Plugin& plugin = *session.plugins[thread / threadsPerPlugin];
  for (std::uint64_t sequence = 0; !stop.stop_requested(); ++sequence) {
    plugin.Emit({0, thread, sequence});
    session.ledger[thread].store(sequence + 1);
    plugin.EmitMetric({0, firstMetricsSlot + thread, sequence});
    session.ledger[firstMetricsSlot + thread].store(sequence + 1);
    // Paces the load: the account is to be about forks, not about a long queue.
    if (sequence % 8 == 0) std::this_thread::sleep_for(std::chrono::microseconds(100));
  }
}

// The children of even rounds log, to standard error; those of odd ones to
// channels of their own.
void BeChild(const Session& session, unsigned round) {
  const Plugin& plugin = *session.plugins[round / 2 % session.plugins.size()];
  const RecordId first{round + 1, 0, 0};
  const bool hasChannels = round % 2 == 1;
  if (hasChannels) plugin.Start(session.dir + "/child-" + std::to_string(round), 1000);
  for (std::uint64_t i = 0; i < linesPerChild; ++i) plugin.Emit({first.writer, 0, i});
  if (hasChannels) plugin.Stop();
}

void ForkOnce(const Session& session, unsigned round) {
  const pid_t child = fork();
  Require(child >= 0, "cannot fork");
  if (child == 0) {
    alarm(childsSeconds);
    BeChild(session, round);
    _exit(0);
  }
  int status = 0;
  Require(waitpid(child, &status, 0) == child, "lost a child");
  Require(!WIFSIGNALED(status) || WTERMSIG(status) != SIGALRM, "a child hung");
  Require(status == 0, "a child did not end well");
}

// ---- Handlers that are older than the library -------------------------------

const Session* sessionOfHandlers = nullptr;

void LogFromHandler() {
  if (sessionOfHandlers == nullptr) return;
  Ledger& ledger = sessionOfHandlers->ledger;
  for (int i = 0; i < 2; ++i) {
    sessionOfHandlers->plugins[0]->Emit({0, handlersSlot, ledger[handlersSlot].load()});
    ++ledger[handlersSlot];
    sessionOfHandlers->plugins[0]->EmitMetric(
        {0, handlersSlot + 1, ledger[handlersSlot + 1].load()});
    ++ledger[handlersSlot + 1];
  }
}

// In the queue that the child is about to forget.
void LogFromChildsHandler() {
  if (sessionOfHandlers == nullptr) return;
  constexpr unsigned nobody = 1000000;
  sessionOfHandlers->plugins[0]->Emit({nobody, 0, 0});
  sessionOfHandlers->plugins[0]->EmitMetric({nobody, 0, 0});
}

}  // namespace

int main(int argc, char** argv) {
  Require(argc == 7 || argc == 8,
          "usage: plugin_fork_driver <directory> <ledger> older-handlers|local|global <seed> "
          "<rounds> <plugin> [<plugin>]");
  const std::string scenario = argv[3];
  const auto rounds = static_cast<unsigned>(std::atoi(argv[5]));
  std::mt19937 random(static_cast<unsigned>(std::atoi(argv[4])));
  Ledger ledger(argv[2]);
  Session session{argv[1], ledger, {}};
  if (scenario == "older-handlers") {
    Require(pthread_atfork(LogFromHandler, LogFromHandler, LogFromChildsHandler) == 0,
            "no fork handlers");
  }
  const int visibility = scenario == "global" ? RTLD_GLOBAL : RTLD_LOCAL;
  const Plugin first(argv[6], visibility);
  first.Start(session.dir + "/first", random() % 2 == 0 ? 1 : 1000);
  session.plugins = {&first};
  if (argc == 8) {
    const auto* const second = new Plugin(argv[7], visibility);
    // Where both use the first copy, that runs already.
    if (scenario == "local") second->Start(session.dir + "/second", random() % 2 == 0 ? 1 : 1000);
    session.plugins.push_back(second);
  }
  if (scenario == "older-handlers") sessionOfHandlers = &session;
  {
    std::vector<std::jthread> threads;
    for (unsigned thread = 0; thread < threadsPerPlugin * session.plugins.size(); ++thread) {
      threads.emplace_back([&session, thread](const std::stop_token& stop) {
        LogUntilStopped(stop, session, thread);
      });
    }
    for (unsigned round = 0; round < rounds; ++round) {
      std::this_thread::sleep_for(std::chrono::microseconds(random() % 500));
      ForkOnce(session, round);
    }
  }
  for (const Plugin* plugin : session.plugins) plugin->Stop();
  return 0;
}
