#include "key_access.h"

#include <chrono>
#include <thread>
#include <utility>

#include "failure.h"
#include "platform_adaptation/system_access/value_access.h"
#include "television.h"

using namespace lomodelapi;

namespace aipqctl {

namespace {

constexpr int CONNECT_TIMEOUT_MS = 500;
constexpr std::chrono::seconds READ_BACK_LIMIT{2};
constexpr std::chrono::milliseconds READ_BACK_PERIOD{20};

// What accessors answer.
constexpr int STATUS_WRONG_TYPE = 6;

template <typename Action>
auto withType(ObjectTypeSpec type, const Action& action) {
    switch (type) {
        case OBJECT_TYPE_NUMERIC_INTEGER:
            return action(std::type_identity<ObserverNumericInteger>(), std::type_identity<int>());
        case OBJECT_TYPE_NUMERIC_INT64:
            return action(std::type_identity<ObserverNumericInt64>(), std::type_identity<long long>());
        case OBJECT_TYPE_VECTOR_NUMERIC_INTEGER:
            return action(std::type_identity<ObserverVectorNumericInteger>(),
                          std::type_identity<std::vector<int>>());
        case OBJECT_TYPE_VECTOR_STRING:
            return action(std::type_identity<ObserverVectorString>(),
                          std::type_identity<std::vector<std::string>>());
        default:
            return action(std::type_identity<ObserverString>(), std::type_identity<std::string>());
    }
}

class ChangeHandler final : public ValueHandler {
  public:
    ChangeHandler(ObjectTypeSpec type, KeyAccess::OnChange onChange)
        : m_type(type), m_onChange(std::move(onChange)) {}

    void onNewValue(const ValueObject& value) override {
        m_onChange(withType(
            m_type,
            [&]<typename Observer, typename T>(std::type_identity<Observer>, std::type_identity<T>) -> Value {
                return value.operator T();
            }));
    }

  private:
    const ObjectTypeSpec m_type;
    const KeyAccess::OnChange m_onChange;
};

}  // namespace

KeyAccess::KeyAccess(const std::string& key, ObjectTypeSpec type, OnChange onChange) : m_type(type) {
    // Connecting asks the model's root, whether or not there is one.
    if (ValueAccessBase::getRootInterface() == nullptr) requireTelevision();
    std::shared_ptr<ValueHandler> handler;
    if (onChange) handler = std::make_shared<ChangeHandler>(type, std::move(onChange));
    m_access = withType(
        type, [&]<typename Observer, typename T>(std::type_identity<Observer>, std::type_identity<T>) {
            return std::unique_ptr<ValueAccessBase>(std::make_unique<ValueAccessT<Observer>>(key, handler));
        });
    const int status = m_access->connect(CONNECT_TIMEOUT_MS);
    if (status == 0) return;
    if (status == STATUS_WRONG_TYPE)
        throw Failure(EXIT_WRONG_TYPE, key + " is not of type " + typeName(type) +
                                           " on this television: say another one with --type");
    requireTelevision();
    throw Failure(EXIT_UNKNOWN, "the television has no key '" + key + "'" +
                                    (findKey(key) != nullptr ? "" : suggestion(key, keyNames(Keys::ALL))));
}

Value KeyAccess::read() {
    return withType(
        m_type,
        [&]<typename Observer, typename T>(std::type_identity<Observer>, std::type_identity<T>) -> Value {
            T value{};
            if (const int status = m_access->getValue(value); status != 0)
                throw Failure(EXIT_REFUSED, m_access->getName() +
                                                " cannot be read: the television answers with status " +
                                                std::to_string(status));
            return value;
        });
}

void KeyAccess::write(const Value& value) {
    withType(m_type, [&]<typename Observer, typename T>(std::type_identity<Observer>, std::type_identity<T>) {
        if (const int status = m_access->setValue(std::get<T>(value)); status != 0)
            throw Failure(EXIT_REFUSED, m_access->getName() +
                                            " cannot be written: the television answers with status " +
                                            std::to_string(status));
    });
}

bool reads(KeyAccess& key, const Value& wanted) {
    const auto limit = std::chrono::steady_clock::now() + READ_BACK_LIMIT;
    while (key.read() != wanted) {
        if (std::chrono::steady_clock::now() >= limit) return false;
        std::this_thread::sleep_for(READ_BACK_PERIOD);
    }
    return true;
}

}  // namespace aipqctl
