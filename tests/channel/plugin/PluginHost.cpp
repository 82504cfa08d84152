#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <string>

// plugin_host <plugin> <directory> leave-running|stop-in-between|never-stop
//
// Loads the plugin, logs through it, unloads it, and does so again.

namespace {

constexpr int linesPerLoad = 100;

class Plugin {
 public:
  explicit Plugin(const char* path) : handle(dlopen(path, RTLD_NOW | RTLD_LOCAL)) {
    if (handle == nullptr) {
      std::fprintf(stderr, "cannot load: %s\n", dlerror());
      std::exit(1);
    }
  }
  ~Plugin() { dlclose(handle); }
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;

  bool Start(const char* directory) const {
    return Function<bool(const char*)>("PluginStart")(directory);
  }
  void Stop() const { Function<void()>("PluginStop")(); }
  void LogFrom(int first) const {
    for (int i = 0; i < linesPerLoad; ++i) Function<void(int)>("PluginLog")(first + i);
  }

 private:
  template <typename Signature>
  Signature* Function(const char* name) const {
    return reinterpret_cast<Signature*>(dlsym(handle, name));
  }

  void* handle;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: plugin_host <plugin> <directory> <kind>\n");
    return 2;
  }
  const std::string kind = argv[3];
  {
    const Plugin plugin(argv[1]);
    if (!plugin.Start(argv[2])) return 1;
    plugin.LogFrom(1);
    if (kind == "stop-in-between") plugin.Stop();
  }
  {
    const Plugin plugin(argv[1]);
    if (kind == "stop-in-between" && !plugin.Start(argv[2])) return 1;
    plugin.LogFrom(1 + linesPerLoad);
    if (kind != "never-stop") plugin.Stop();
  }
  return 0;
}
