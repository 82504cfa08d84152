#ifndef ZIN_TEST_REFUSED_RENAME_H
#define ZIN_TEST_REFUSED_RENAME_H

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <array>
#include <bit>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>

// Renaming without replacing is refused with EPERM, as filters of containers
// answer calls that they do not know. For good, and for
// the threads that are started from now on. False where there are no such
// filters.
inline bool RefuseToRenameWithoutReplacing() {
  constexpr std::size_t flags = 4;  // the argument
  constexpr std::size_t lowHalf = std::endian::native == std::endian::big ? 4 : 0;
  std::array<sock_filter, 6> program = {{
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_renameat2, 0, 3),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS,
               offsetof(seccomp_data, args) + flags * sizeof(std::uint64_t) + lowHalf),
      BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, RENAME_NOREPLACE, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  }};
  const sock_fprog filter = {program.size(), program.data()};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0 &&
         renameat2(AT_FDCWD, "", AT_FDCWD, "", RENAME_NOREPLACE) == -1 && errno == EPERM;
}

#endif  // ZIN_TEST_REFUSED_RENAME_H
