// Fuzzes the TV service's play attributes: parses, reads and announces them.
#include <optional>
#include <vector>

#include "embedded_television.h"
#include "fuzzing.h"
#include "log_recorder.h"
#include "platform_adaptation/system_info.h"

namespace {

using fuzzing::Input;
using fuzzing::Reading;
using simulated::Value;

constexpr char PLAY_ATTRIBUTES[] = "dovra.sl2.vstr.tvservice.play.main";
constexpr std::size_t FLAG = 8;

// The expected result: the encryption flag, or the error message if the attributes have no flag.
struct Expected {
    std::optional<bool> encrypted;
    std::string complaint;
};

Expected expectedOf(const std::vector<std::string>& attributes) {
    if (attributes.size() <= FLAG)
        return {{},
                "MODELAPI::SL2_TVAPI_VSTR_TVSERVICE_PLAY_ATTRIBUTES: 8, vec size: " +
                    std::to_string(attributes.size()) + ".\n"};
    std::int64_t number = 0;
    switch (fuzzing::readNumber(attributes[FLAG], INT32_MIN, INT32_MAX, number)) {
        case Reading::NO_NUMBER:
            return {{}, "fail: invalid argument.\n"};
        case Reading::OUT_OF_RANGE:
            return {{}, "fail: out of range.\n"};
        case Reading::NUMBER:
            break;
    }
    return {number % 2 != 0, ""};
}

struct Received {
    unsigned calls = 0;
    bool encrypted = false;
};

void onStreamEncrypted(StreamMode mode, bool encrypted, void* userData) {
    FUZZ_CHECK(mode == STREAM_MODE_TV_SERVICE);
    Received& received = *static_cast<Received*>(userData);
    ++received.calls;
    received.encrypted = encrypted;
}

// Expects that `complaint` is the only error line, or that there is no error line if it is empty.
void checkComplaint(const tests::LogRecorder& log, const std::string& complaint) {
    std::string errors;
    for (const tests::LogLine& line : log.lines())
        if (line.level == tests::ERROR) errors += line.message;
    FUZZ_CHECK(errors == complaint);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzing::switchedOn();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static simulated::Model& model = fuzzing::switchedOn().model();
    static tests::LogRecorder log;
    static SystemInfo& info = *new SystemInfo;

    Input input(data, size);
    const bool before = input.flag();
    std::vector<std::string> attributes(input.choice(12));
    // The element with the flag receives most of the input.
    for (std::size_t i = 0; i < attributes.size(); ++i)
        if (i != FLAG) attributes[i] = input.text(input.choice(8));
    if (attributes.size() > FLAG) attributes[FLAG] = input.rest();
    const Expected expected = expectedOf(attributes);

    log.clear();
    bool encrypted = before;
    std::vector<std::string> given = attributes;
    FUZZ_CHECK(info.parserTvStreamEncrypte(encrypted, given) == expected.encrypted.has_value());
    FUZZ_CHECK(encrypted == expected.encrypted.value_or(before));
    FUZZ_CHECK(given == attributes);
    checkComplaint(log, expected.complaint);

    info.getTvStreamEncrypted();  // the first read subscribes to the key
    Received received;
    info.registerCallBackStreamEncrypted(onStreamEncrypted, &received);
    const bool changes = model.value(PLAY_ATTRIBUTES) != Value(attributes);
    log.clear();
    model.set(PLAY_ATTRIBUTES, attributes);
    FUZZ_CHECK(model.settle());
    info.registerCallBackStreamEncrypted(nullptr, nullptr);
    FUZZ_CHECK(received.calls == (changes && expected.encrypted ? 1U : 0U));
    if (received.calls > 0) FUZZ_CHECK(received.encrypted == *expected.encrypted);
    checkComplaint(log, changes ? expected.complaint : "");

    log.clear();
    FUZZ_CHECK(info.getTvStreamEncrypted() == expected.encrypted.value_or(false));
    checkComplaint(log, expected.complaint);
    return 0;
}
