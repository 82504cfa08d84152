#include <dlfcn.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

// plugin_host <plugin> <directory> leave-running|stop-in-between|never-stop
//   loads the plugin, logs through it, unloads it, and does so again
// plugin_host <plugin> <directory> older-fork-handlers
//   has fork handlers that log through the plugin, registered before it is loaded
// plugin_host <plugin> <directory> two-copies-global|two-copies-local <plugin>
//   loads two plugins that bring a library each, logs through both and forks

namespace {

constexpr int linesPerLoad = 100;
constexpr unsigned mostSeconds = 40;  // only a hang takes as long

class Plugin {
 public:
  explicit Plugin(const char* path, int visibility = RTLD_LOCAL)
      : handle(dlopen(path, RTLD_NOW | visibility)) {
    if (handle == nullptr) {
      std::fprintf(stderr, "cannot load: %s\n", dlerror());
      std::exit(1);
    }
  }
  ~Plugin() { dlclose(handle); }
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;

  bool Start(const std::string& directory) const {
    return Function<bool(const char*)>("PluginStart")(directory.c_str());
  }
  void Stop() const { Function<void()>("PluginStop")(); }
  void LogOne(int number) const { Function<void(int)>("PluginLog")(number); }
  void LogFrom(int first) const {
    for (int i = 0; i < linesPerLoad; ++i) LogOne(first + i);
  }

 private:
  template <typename Signature>
  Signature* Function(const char* name) const {
    return reinterpret_cast<Signature*>(dlsym(handle, name));
  }

  void* handle;
};

// Whether a child that logs through the plugins ends well.
bool ForkLogs(const Plugin& first, const Plugin& second) {
  const pid_t child = fork();
  if (child == 0) {
    alarm(mostSeconds);
    first.LogOne(0);
    second.LogOne(0);
    _exit(0);
  }
  int status = 0;
  return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

int LogTwice(const char* path, const std::string& directory, const std::string& kind) {
  {
    const Plugin plugin(path);
    if (!plugin.Start(directory)) return 1;
    plugin.LogFrom(1);
    if (kind == "stop-in-between") plugin.Stop();
  }
  {
    const Plugin plugin(path);
    if (kind == "stop-in-between" && !plugin.Start(directory)) return 1;
    plugin.LogFrom(1 + linesPerLoad);
    if (kind != "never-stop") plugin.Stop();
  }
  return 0;
}

int LogFromTwoCopies(const char* firstPath, const char* secondPath, const std::string& directory,
                     int visibility) {
  const Plugin first(firstPath, visibility);
  if (!first.Start(directory + "/first-log")) return 1;
  const Plugin second(secondPath, visibility);
  // Visible to each other, both use the first copy, which runs already.
  if (visibility == RTLD_LOCAL && !second.Start(directory + "/second-log")) return 1;
  first.LogFrom(1);
  if (!ForkLogs(first, second)) return 3;
  second.LogFrom(1 + linesPerLoad);
  first.Stop();
  second.Stop();
  return 0;
}

const Plugin* pluginOfHandlers = nullptr;

int LogFromOlderForkHandlers(const char* path, const std::string& directory) {
  pthread_atfork([] { pluginOfHandlers->LogOne(1); }, [] { pluginOfHandlers->LogOne(2); },
                 [] { pluginOfHandlers->LogOne(0); });
  const Plugin plugin(path);
  pluginOfHandlers = &plugin;
  if (!plugin.Start(directory)) return 1;
  alarm(mostSeconds);
  if (!ForkLogs(plugin, plugin)) return 3;
  plugin.LogOne(3);
  plugin.Stop();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string kind = argc < 4 ? "" : argv[3];
  if (argc == 5 && kind == "two-copies-global") {
    return LogFromTwoCopies(argv[1], argv[4], argv[2], RTLD_GLOBAL);
  }
  if (argc == 5 && kind == "two-copies-local") {
    return LogFromTwoCopies(argv[1], argv[4], argv[2], RTLD_LOCAL);
  }
  if (argc == 4 && kind == "older-fork-handlers") return LogFromOlderForkHandlers(argv[1], argv[2]);
  if (argc == 4) return LogTwice(argv[1], argv[2], kind);
  std::fprintf(stderr, "usage: plugin_host <plugin> <directory> <kind> [<plugin>]\n");
  return 2;
}
