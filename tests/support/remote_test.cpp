#include "remote_test.h"
#include "keys.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdlib>

namespace tests {

using namespace tests::keys;

namespace {

constexpr char KEYS_OF_THE_TESTS[] = R"(
[[key]]
name = "test.wide"
type = "int64"
default = 5000000000
meaning = "A number of 64 bits"

[[key]]
name = "test.text"
type = "string"
default = ""
meaning = "A text"

[[key]]
name = "test.texts"
type = "strings"
default = []
meaning = "Texts"

[[key]]
name = "test.numbers"
type = "integers"
default = []
meaning = "Numbers"
)";

const std::string& ownName() {
    static const std::string name = "test-" + std::to_string(::getpid());
    return name;
}

// Initialised before main(): the library reads AIPQ_TV when it first uses the television.
const bool televisionIsNamed = ::setenv("AIPQ_TV", ownName().c_str(), 1) == 0;

}  // namespace

RemoteTest::RemoteTest(const std::string& video)
    : television(ownName(), {"--video", video, "--catalogue", catalogueWith(KEYS_OF_THE_TESTS)}) {}

RemoteTest::~RemoteTest() {
    if (!television.isOn()) return;
    EXPECT_EQ(television.stop(), 0);
    EXPECT_EQ(television.process().errors(), "");
    EXPECT_THAT(televisionFiles(), testing::IsEmpty());
}

void RemoteTest::switchOn() {
    ASSERT_TRUE(television.start()) << television.process().errors();
    ASSERT_TRUE(isFound());
}

void RemoteTest::killAndSwitchOnAgain() {
    television.kill();
    switchOn();
}

bool RemoteTest::isFound() {
    Integer probe(CONTRAST);
    return probe.connect(30000) == 0;
}

}  // namespace tests
