// Fuzzes str2int() and outputCharSerial() with any text.
#include <memory>

#include "embedded_television.h"
#include "fuzzing.h"
#include "log_recorder.h"
#include "platform_adaptation/ai_common.h"

namespace {

using fuzzing::Reading;

// Returns the message of the only logged line, or an empty text if there is none.
std::string onlyLine(const tests::LogRecorder& log) {
    std::string found;
    for (const tests::LogLine& line : log.lines()) {
        FUZZ_CHECK(found.empty());
        FUZZ_CHECK(line.tag == "[AIPQ Common]");
        found = line.message;
    }
    return found;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzing::switchedOn();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static tests::LogRecorder log;
    fuzzing::Input input(data, size);
    const int fallback = input.number<int>();
    const std::string text = input.rest();

    std::int64_t number = 0;
    const Reading reading = fuzzing::readNumber(text, INT32_MIN, INT32_MAX, number);
    log.clear();
    const int read = str2int(text.c_str(), fallback);
    FUZZ_CHECK(read == (reading == Reading::NUMBER && number > 0 ? number : fallback));
    const std::string complaint = reading == Reading::NO_NUMBER      ? "fail: invalid argument.\n"
                                  : reading == Reading::OUT_OF_RANGE ? "fail: out of range.\n"
                                                                     : "";
    FUZZ_CHECK(onlyLine(log) == complaint);

    // Allocated with exactly this size, so that the address sanitizer detects a read beyond the end.
    const std::unique_ptr<char[]> bytes(new char[text.size()]);
    std::copy(text.begin(), text.end(), bytes.get());
    std::string dump = "fuzz";
    for (const char c : text) dump += std::to_string(static_cast<unsigned char>(c)) + ", ";
    log.clear();
    outputCharSerial("fuzz", bytes.get(), static_cast<int>(text.size()));
    FUZZ_CHECK(onlyLine(log) == dump + ".\n");
    return 0;
}
