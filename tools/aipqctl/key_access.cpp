#include "key_access.h"

#include <chrono>
#include <thread>
#include <utility>

#include "accessor_status.h"
#include "failure.h"
#include "platform_adaptation/system_access/table_access.h"
#include "platform_adaptation/system_access/value_access.h"
#include "television_presence.h"

using namespace lomodelapi;

namespace aipqctl {

namespace {

constexpr int CONNECT_TIMEOUT_MS = 500;
constexpr std::chrono::seconds READ_BACK_LIMIT{2};
constexpr std::chrono::milliseconds READ_BACK_PERIOD{20};

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

// Also forwards the notifications that the key became unavailable or available.
template <typename Observer>
class FollowedValue final : public ValueAccessT<Observer> {
  public:
    FollowedValue(const std::string& key, std::shared_ptr<ValueHandler> handler,
                  KeyAccess::OnAvailability onAvailability)
        : ValueAccessT<Observer>(key, std::move(handler)), m_onAvailability(std::move(onAvailability)) {}

    void notifyAvailability(bool available) override {
        if (m_onAvailability) m_onAvailability(available);
    }

  private:
    const KeyAccess::OnAvailability m_onAvailability;
};

// Returns the key's type on this television, or none if the television has no such key.
ObjectTypeSpec typeOf(const std::string& key) {
    TableAccess any(key);
    return any.connect(CONNECT_TIMEOUT_MS) == 0 ? static_cast<ObjectTypeSpec>(any.getType())
                                                : OBJECT_TYPE_NONE;
}

// Reading a number returns no status: it returns 0 if the television leaves. If the key can be connected at
// once afterwards, the television had not left.
template <typename Observer>
void confirmRead(const std::string& key) {
    if (ValueAccessBase::getRootInterface() != nullptr && ValueAccessT<Observer>(key).connect(0) == 0) return;
    requireSameTelevision();
    throw Failure(EXIT_REFUSED, key + " cannot be read: the television does not confirm the value 0");
}

}  // namespace

KeyAccess::KeyAccess(const std::string& key, ObjectTypeSpec type, OnChange onChange,
                     OnAvailability onAvailability)
    : m_type(type) {
    // Connecting calls the model's root interface, which is null without a television.
    requireTelevision();
    std::shared_ptr<ValueHandler> handler;
    if (onChange) handler = std::make_shared<ChangeHandler>(type, std::move(onChange));
    m_access = withType(
        type, [&]<typename Observer, typename T>(std::type_identity<Observer>, std::type_identity<T>) {
            return std::unique_ptr<ValueAccessBase>(
                std::make_unique<FollowedValue<Observer>>(key, handler, std::move(onAvailability)));
        });
    int status = m_access->connect(CONNECT_TIMEOUT_MS);
    ObjectTypeSpec found = OBJECT_TYPE_NONE;
    if (status == conformance::STATUS_WRONG_TYPE) {
        found = typeOf(key);
        // If the television leaves during the request, the request returns no type.
        if (found == type) status = m_access->connect(CONNECT_TIMEOUT_MS);
    }
    if (status == 0) return;
    requireSameTelevision();
    if (found != OBJECT_TYPE_NONE)
        throw Failure(EXIT_WRONG_TYPE,
                      key + " is of type " + typeName(found) + " on this television, not " + typeName(type));
    throw Failure(EXIT_UNKNOWN, "the television has no key '" + key + "'" +
                                    (findKey(key) != nullptr ? "" : suggestion(key, keyNames(Keys::ALL))));
}

KeyAccess::~KeyAccess() {
    // Disconnect before destroying anything that a notification uses.
    m_access->disconnect();
}

Value KeyAccess::read() {
    return withType(
        m_type,
        [&]<typename Observer, typename T>(std::type_identity<Observer>, std::type_identity<T>) -> Value {
            T value{};
            if (const int status = m_access->getValue(value); status != 0) {
                requireSameTelevision();
                throw Failure(EXIT_REFUSED, m_access->getName() +
                                                " cannot be read: the television answers with status " +
                                                std::to_string(status));
            }
            if constexpr (std::is_integral_v<T>)
                if (value == 0) confirmRead<Observer>(m_access->getName());
            return value;
        });
}

void KeyAccess::write(const Value& value) {
    withType(m_type, [&]<typename Observer, typename T>(std::type_identity<Observer>, std::type_identity<T>) {
        if (const int status = m_access->setValue(std::get<T>(value)); status != 0) {
            requireSameTelevision();
            throw Failure(EXIT_REFUSED, m_access->getName() +
                                            " cannot be written: the television answers with status " +
                                            std::to_string(status));
        }
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
