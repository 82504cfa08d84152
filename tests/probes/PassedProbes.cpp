#include "PassedProbes.h"

#include <mutex>

namespace {

std::mutex mutex;
std::vector<std::string> passed;  // guarded by mutex

void Note(const std::string& probe) {
  const std::lock_guard<std::mutex> lock(mutex);
  passed.push_back(probe);
}

}  // namespace

std::vector<std::string> PassedProbes() {
  const std::lock_guard<std::mutex> lock(mutex);
  return passed;
}

void NotePassedProbe(const char* name, const char* text) {
  Note(std::string(name) + " " + text);
}

void NotePassedProbe(const char* name, const char* path, int number) {
  Note(std::string(name) + " " + path + " " + std::to_string(number));
}

void NotePassedProbe(const char* name, const char* path, const char* newPath) {
  Note(std::string(name) + " " + path + " " + newPath);
}

void NotePassedProbe(const char* name, const char* path, const char* newPath, int number) {
  Note(std::string(name) + " " + path + " " + newPath + " " + std::to_string(number));
}

void NotePassedProbe(const char* name, const char* channel, const char* text, std::size_t size) {
  Note(std::string(name) + " " + channel + " " + std::string(text, size) + " " +
       std::to_string(size));
}

void NotePassedProbe(const char* name, int descriptor, std::size_t size, int number) {
  Note(std::string(name) + " " + std::to_string(descriptor) + " " + std::to_string(size) + " " +
       std::to_string(number));
}
