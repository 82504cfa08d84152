// Copies the input to standard output.
#ifndef ZINPIPE_ECHO_H
#define ZINPIPE_ECHO_H

#include <string_view>

class Echo {
 public:
  // `stopDescriptor` becomes readable when the tool is to stop; a reader of
  // standard output that reads no more must not keep it from doing so.
  Echo(bool wanted, int stopDescriptor) : active(wanted), stop(stopDescriptor) {}

  // Copies the bytes as they are. The first failure is reported and ends the
  // echo, but nothing else.
  void Copy(std::string_view bytes);

  bool HasFailed() const { return failed; }

 private:
  bool WaitForReader() const;
  void Fail(const char* reason);

  bool active;
  bool failed = false;
  int stop;
};

#endif  // ZINPIPE_ECHO_H
