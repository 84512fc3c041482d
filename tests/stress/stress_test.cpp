// Calls every public operation from several threads and inside every callback, while the television changes,
// fails and recovers at random. The seed determines the operations of each thread, but not how the threads
// interleave.
//
//   AIPQ_STRESS_SECONDS  the duration, 8 by default
//   AIPQ_STRESS_SEED     the seed of the first round, 1 by default; each round prints its seed
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "capture_test.h"
#include "forked_pipeline.h"
#include "keys.h"
#include "round.h"
#include "simulated/television.h"

using namespace tests::keys;
using stress::CALLBACK_NAMES;
using stress::CALLBACKS;
using stress::Clock;
using stress::Round;

namespace {

// Answers most requests: some late, some with another size, and some not at all.
void answer(unsigned number, video::CaptureBlock& block) {
    if (number % 16 == 0) return;
    if (number % 5 == 0) usleep(100'000);
    if (number % 7 == 0) {
        tests::fillFrame(block, 160, 90, 1);
    } else {
        tests::fillFrame(block, block.width, block.height, 2);
    }
}

// Captures never detach their blocks; in hours, too many would stay attached.
void detachBlocks() {
    std::ifstream maps("/proc/self/maps");
    std::vector<std::uintptr_t> blocks;
    for (std::string line; std::getline(maps, line);)
        if (line.find("/SYSV") != std::string::npos) blocks.push_back(std::stoul(line, nullptr, 16));
    for (const std::uintptr_t block : blocks) shmdt(reinterpret_cast<void*>(block));
}

double numberOf(const char* variable, double otherwise) {
    const char* const text = std::getenv(variable);
    return text != nullptr ? std::strtod(text, nullptr) : otherwise;
}

TEST(TheLibrary, SupportsConcurrentUseWhileTheTelevisionFails) {
    simulated::Television& television = simulated::Television::instance();
    television.reset();
    tests::Peer::removeAll();
    const tests::ForkedPipeline pipeline(answer);
    ASSERT_NE(SourceSwitchAccessImpl::GetInstance(), nullptr);
    auto seed = static_cast<unsigned>(numberOf("AIPQ_STRESS_SEED", 1));
    const auto end = Clock::now() + std::chrono::duration<double>(numberOf("AIPQ_STRESS_SECONDS", 8));
    // A slow machine may need more than the given time to perform each operation once.
    const auto isMissing = [] {
        const auto isZero = [](const auto& count) { return count == 0; };
        return std::any_of(Round::doneInside.begin(), Round::doneInside.end(), isZero) ||
               std::any_of(Round::done.begin(), Round::done.end(),
                           [&](const auto& operation) { return isZero(operation.second); });
    };
    // At least two rounds, one for each order of the callback threads.
    for (int rounds = 0; rounds < 2 || Clock::now() < end || (isMissing() && rounds < 20); ++rounds, ++seed) {
        std::cout << "AIPQ_STRESS_SEED=" << seed << std::endl;
        {
            Round round(seed);
            round.run();
        }
        for (const simulated::KeyDefinition& key : television.model().keys()) {
            EXPECT_EQ(television.model().iterators(key.name), 0U) << key.name;
            // The process-wide instance of the source switch keeps its subscription.
            const unsigned remaining = key.name == SWITCH_ACTION ? 1U : 0U;
            EXPECT_LE(television.model().subscribers(key.name), remaining) << key.name;
        }
        EXPECT_TRUE(television.applications().applications().empty());
        detachBlocks();
        if (HasFailure()) break;
    }
    unsigned operations = 0;
    for (const auto& [name, times] : Round::done) operations += times;
    std::cout << operations << " operations of " << Round::done.size() << " kinds; in callbacks";
    for (std::size_t kind = 0; kind < CALLBACKS; ++kind) std::cout << ' ' << Round::doneInside[kind];
    std::cout << '\n';
    for (const auto& [name, times] : Round::done) EXPECT_GT(times, 0U) << name;
    for (std::size_t kind = 0; kind < CALLBACKS; ++kind)
        EXPECT_GT(Round::doneInside[kind], 0U)
            << "no operation was performed inside " << CALLBACK_NAMES[kind];
    television.debugOutput().reset();
    tests::Peer::removeAll();
}

}  // namespace
