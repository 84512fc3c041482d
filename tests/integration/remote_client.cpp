// A client of the television in a separate process. It executes commands from standard input, one a line, and
// prints their results and the notifications that it receives:
//
//   follow KEY         follows an integer               KEY=VALUE for each change
//   set KEY NUMBER     writes an integer
//   open TABLE         opens an iterator
// register NAME      registers an application         NAME STATE for each notification
//   switch URI         switches the channel             ends only with the answer
//   previous           to the previous channel
//
// Each command ends with a line "done STATUS".
#include <iostream>
#include <list>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <utility>

#include "platform_adaptation/system_access/iterator_access.h"
#include "platform_adaptation/system_access/source_switch_access_impl.h"
#include "platform_adaptation/system_access/value_access.h"
#include "platform_adaptation/system_state.h"

namespace {

using Integer = ValueAccessT<lomodelapi::ObserverNumericInteger>;

void say(const std::string& line) {
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    std::cout << line << std::endl;
}

class Follower final : public ValueHandler {
  public:
    explicit Follower(std::string key) : m_key(std::move(key)) {}
    void onNewValue(const ValueObject& value) override { say(m_key + "=" + value.convertToStringType()); }

  private:
    const std::string m_key;
};

std::list<Integer> followed;
std::list<IteratorAccess> opened;
std::list<SystemState> registered;

int perform(const std::string& command, std::istringstream& words) {
    std::string name;
    words >> name;
    if (command == "follow")
        return followed.emplace_back(name, std::make_shared<Follower>(name)).connect(1000);
    if (command == "set") {
        int number = 0;
        words >> number;
        return Integer(name).setValue(number);
    }
    if (command == "open") {
        IteratorAccess& iterator = opened.emplace_back(
            name, nullptr, lomodelapi::IteratorType{1, 10}, std::vector<lomodelapi::TableSelection>(),
            std::vector<int>{0}, std::vector<lomodelapi::TableOrder>());
        return iterator.create() == 0 && iterator.getIterator() != nullptr ? 0 : 1;
    }
    if (command == "register") {
        registered.emplace_back(name.c_str())
            .registerCallBackTVPowerState(
                [](TVPowerState state, void* self) {
                    say(static_cast<SystemState*>(self)->getName() + " " + std::to_string(state));
                },
                &registered.back());
        return 0;
    }
    if (command == "switch")
        return SourceSwitchAccessImpl::GetInstance()->setChannelByURI(name, false) ? 0 : 1;
    if (command == "previous") return SourceSwitchAccessImpl::GetInstance()->setChannelPrev() ? 0 : 1;
    return -1;
}

}  // namespace

int main() {
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream words(line);
        std::string command;
        words >> command;
        say("done " + std::to_string(perform(command, words)));
    }
}
