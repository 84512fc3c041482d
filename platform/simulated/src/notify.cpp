#include "notify.h"

using namespace lomodelapi;

namespace simulated {

void notify(Observer* observer, const Value& value) {
    if (const int* const number = std::get_if<int>(&value)) {
        if (auto* const receiver = dynamic_cast<ObserverNumericInteger*>(observer))
            receiver->notifyNewValue(*number);
    } else if (const long long* const wide = std::get_if<long long>(&value)) {
        if (auto* const receiver = dynamic_cast<ObserverNumericInt64*>(observer))
            receiver->notifyNewValue(*wide);
    } else if (const auto* const text = std::get_if<std::string>(&value)) {
        if (auto* const receiver = dynamic_cast<ObserverString*>(observer)) receiver->notifyNewValue(*text);
    } else if (const auto* const numbers = std::get_if<std::vector<int>>(&value)) {
        if (auto* const receiver = dynamic_cast<ObserverVectorNumericInteger*>(observer))
            receiver->notifyIntegerVector(*numbers);
    } else if (const auto* const texts = std::get_if<std::vector<std::string>>(&value)) {
        if (auto* const receiver = dynamic_cast<ObserverVectorString*>(observer))
            receiver->notifyStringVector(*texts);
    }
}

void notify(Observer* observer, unsigned id, const Answer& answer) {
    auto* const receiver = dynamic_cast<ObserverAction*>(observer);
    if (receiver == nullptr) return;
    if (answer.error != 0) {
        receiver->notifyExecutionError(id, answer.error);
    } else {
        receiver->notifyResult(id, answer.result);
    }
}

void notifyTableUpdate(Observer* observer, int kind) {
    if (auto* const receiver = dynamic_cast<ObserverTable*>(observer)) receiver->notifyUpdate(kind);
}

}  // namespace simulated
