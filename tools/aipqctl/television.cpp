#include "television.h"

#include <chrono>
#include <cstdlib>
#include <future>
#include <memory>
#include <thread>
#include <utility>

#include "failure.h"
#include "platform_adaptation/system_access/value_access.h"

#ifdef WITH_SIMULATED_TELEVISION
#include "protocol.h"
#endif

namespace aipqctl {

namespace {

// Every television has it.
constexpr char PROBE_KEY[] = "dovra.sl2.i32.video.brightness";
constexpr int CONNECT_TIMEOUT_MS = 500;
constexpr std::chrono::seconds ANSWER_LIMIT{10};

}  // namespace

void requireTelevision() {
    if (ValueAccessBase::getRootInterface() != nullptr) {
        ValueAccessT<lomodelapi::ObserverNumericInteger> probe(PROBE_KEY);
        if (probe.connect(CONNECT_TIMEOUT_MS) == 0) return;
    }
    throw Failure(EXIT_NO_TELEVISION, "no television answers: start aipq-television, or use --embedded");
}

bool answered(std::function<bool()> request) {
    // The thread is left behind if the answer never comes: nothing can wake it.
    const auto answer = std::make_shared<std::promise<bool>>();
    std::future<bool> result = answer->get_future();
    std::thread([answer, request = std::move(request)] { answer->set_value(request()); }).detach();
    if (result.wait_for(ANSWER_LIMIT) == std::future_status::ready) return result.get();
    throw Failure(EXIT_REFUSED, "the television has not answered for 10 s; whether it did it is not known");
}

std::string whyNoFrame() {
    std::string problem;
#ifdef WITH_SIMULATED_TELEVISION
    try {
        const char* const television = std::getenv("AIPQ_TV");
        const remote::Place place = remote::placeFrom(television != nullptr ? television : "");
        const auto bus = sdbus::createSessionBusConnectionWithAddress(place.address);
        const auto proxy = sdbus::createProxy(*bus, place.busName(), remote::OBJECT);
        problem = proxy->getProperty("VideoProblem").onInterface("aipq.Television").get<std::string>();
    } catch (const std::exception&) {
        // It is embedded, or gone.
    }
#endif
    return problem.empty() ? "is a video pipeline running?" : problem;
}

}  // namespace aipqctl
