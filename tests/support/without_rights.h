#ifndef TESTS_WITHOUT_RIGHTS_H
#define TESTS_WITHOUT_RIGHTS_H

#include <sys/syscall.h>
#include <unistd.h>

#include <future>

namespace tests {

// Calls a function as the user nobody. The system call changes the user of the calling thread and of the
// threads that it starts, but not of other threads.
template <typename Function>
auto withoutRights(Function function) {
    return std::async(std::launch::async,
                      [&] {
                          constexpr uid_t nobody = 65534;
                          if (geteuid() == 0) syscall(SYS_setresuid, -1, nobody, -1);
                          return function();
                      })
        .get();
}

}  // namespace tests

#endif
