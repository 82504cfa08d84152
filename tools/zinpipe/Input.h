// One input: standard input, or a file that may grow.
#ifndef ZINPIPE_INPUT_H
#define ZINPIPE_INPUT_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "Descriptor.h"
#include "FileIdentity.h"

class Input {
 public:
  // Standard input. Throws std::runtime_error.
  Input();

  // A regular file, read from its begin. One that is followed and not there is
  // waited for when `retry` says so. Throws std::runtime_error.
  Input(std::string path, bool follow, bool retry);

  // What a stamped line names as its source.
  const std::string& Name() const { return name; }

  // A descriptor to wait for before a read; -1: a read never waits.
  int DescriptorToWaitFor() const { return waits ? file.Number() : -1; }

  // Reads what is there, at most `size` bytes. Returns their number; 0 when
  // there is nothing at the moment, or never again (AtEnd).
  std::size_t Read(char* room, std::size_t size);

  // No more will come. A followed file has no end.
  bool AtEnd() const { return atEnd; }

  // A followed file has been replaced, or has become shorter: the last line of
  // the old one is over, and the next read is from the begin of the new one.
  bool MoveToReplacement();

  // Whether somebody else may still write: then more may come until AtEnd.
  bool HasWriter() const { return hasWriter; }

  const std::string& Path() const { return path; }

  // False: it is waited for.
  bool IsThere() const { return file.IsOpen(); }

  bool HasFailed() const { return failed; }
  std::uint64_t SizeAtStart() const { return sizeAtStart; }  // bytes; 0: not known
  const FileIdentity& Identity() const { return identity; }

 private:
  void NoteSize();
  bool BecameShorter() const;

  std::string path;
  std::string name;
  Descriptor file;
  FileIdentity identity;
  bool waits = false;
  bool hasWriter = false;
  bool following = false;
  bool atEnd = false;
  bool failed = false;
  std::int64_t position = 0;  // of a followed file
  std::uint64_t sizeAtStart = 0;
};

#endif  // ZINPIPE_INPUT_H
