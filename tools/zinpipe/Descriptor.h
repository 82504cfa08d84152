// Owns a file descriptor.
#ifndef ZINPIPE_DESCRIPTOR_H
#define ZINPIPE_DESCRIPTOR_H

#include <unistd.h>

#include <utility>

class Descriptor {
 public:
  explicit Descriptor(int descriptor = -1) : number(descriptor) {}
  ~Descriptor() { Close(); }
  Descriptor(Descriptor&& other) noexcept : number(std::exchange(other.number, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    if (this != &other) {
      Close();
      number = std::exchange(other.number, -1);
    }
    return *this;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int Number() const { return number; }
  bool IsOpen() const { return number >= 0; }

 private:
  void Close() {
    if (number >= 0) (void)close(number);
  }

  int number;
};

#endif  // ZINPIPE_DESCRIPTOR_H
