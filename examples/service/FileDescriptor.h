// Owns a file descriptor and closes it.
#ifndef SERVICE_FILE_DESCRIPTOR_H
#define SERVICE_FILE_DESCRIPTOR_H

#include <unistd.h>

#include <utility>

class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int owned) : descriptor(owned) {}
  ~FileDescriptor() {
    if (IsOpen()) close(descriptor);
  }
  FileDescriptor(FileDescriptor&& other) noexcept
      : descriptor(std::exchange(other.descriptor, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(descriptor, other.descriptor);
    return *this;
  }

  bool IsOpen() const { return descriptor >= 0; }
  int Get() const { return descriptor; }

 private:
  int descriptor = -1;
};

#endif  // SERVICE_FILE_DESCRIPTOR_H
