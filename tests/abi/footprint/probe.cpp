// Constructs one object of each facade and prints its cost as "name value" lines for scripts/footprint.
//
// Before the measurement, one set of facades is constructed and destroyed, so that the television has started
// and allocated its own memory. The television's memory for each subscription is counted, because it cannot
// be separated from the library's.
#include <malloc.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <new>
#include <optional>
#include <string>

#include "platform_adaptation/picture_capture.h"
#include "platform_adaptation/system_access/source_switch_access_impl.h"
#include "platform_adaptation/system_info.h"
#include "platform_adaptation/system_setting.h"
#include "platform_adaptation/system_state.h"

namespace {

std::atomic<std::size_t> heap{0};  // bytes in use by this program and all of its libraries

}  // namespace

void* operator new(std::size_t size) {
    void* const memory = std::malloc(size);
    if (memory == nullptr) throw std::bad_alloc();
    heap += malloc_usable_size(memory);
    return memory;
}

void operator delete(void* memory) noexcept {
    heap -= malloc_usable_size(memory);
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept { operator delete(memory); }

namespace {

struct Facades {
    SystemInfo info;
    SystemSetting setting;
    SystemState state{"footprint"};
    PictureCapture capture;
    SourceSwitchAccessImpl sourceSwitch;
};

long threads() {
    namespace fs = std::filesystem;
    return static_cast<long>(
        std::distance(fs::directory_iterator("/proc/self/task"), fs::directory_iterator()));
}

// The size of the library's pages that this process has written to, and therefore does not share.
// Private_Dirty would also count pages of a newly built file that is not written to the disk yet.
long ownPages() {
    std::ifstream maps("/proc/self/smaps");
    long kilobytes = 0;
    bool library = false;
    for (std::string line; std::getline(maps, line);) {
        long value = 0;
        if (line.find('-') < line.find(' '))
            library = line.find("libplatform_adaptation.so") != std::string::npos;
        else if (library && std::sscanf(line.c_str(), "Anonymous: %ld kB", &value) == 1)
            kilobytes += value;
    }
    return kilobytes * 1024;
}

}  // namespace

int main() {
    { Facades first; }
    const long threadsBefore = threads();
    const std::size_t heapBefore = heap;
    std::optional<Facades> facades;
    facades.emplace();
    const std::size_t heapAfter = heap;
    std::printf("threads %ld\n", threads() - threadsBefore);
    std::printf("heap %zu\n", heapAfter - heapBefore);
    std::printf("objects %zu\n", sizeof(Facades));
    std::printf("pages %ld\n", ownPages());
}
