// plugin_driver <plugin> <directory> <loads>: knows the library only through a
// plugin, which it loads, uses and unloads while its channel runs.
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

template <typename Signature>
Signature* Find(void* plugin, const char* name) {
  void* const found = dlsym(plugin, name);
  if (found == nullptr) std::exit(2);
  return reinterpret_cast<Signature*>(found);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  const int loads = std::atoi(argv[3]);
  for (int load = 0; load < loads; ++load) {
    void* const plugin = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (plugin == nullptr) {
      std::fprintf(stderr, "cannot load: %s\n", dlerror());
      return 1;
    }
    if (load % 10 == 0) {
      const std::string dir = std::string(argv[2]) + "/load-" + std::to_string(load);
      if (!Find<bool(const char*)>(plugin, "PluginStart")(dir.c_str())) return 3;
    }
    for (int i = 0; i < 20; ++i) Find<void(int)>(plugin, "PluginLog")(load * 20 + i);
    // The last load of every ten stops; otherwise the channel runs on unloaded.
    if (load % 10 == 9) Find<void()>(plugin, "PluginStop")();
    (void)dlclose(plugin);
  }
  return 0;
}
