#ifndef AIPQCTL_KEY_ACCESS_H
#define AIPQCTL_KEY_ACCESS_H

#include <functional>
#include <memory>
#include <string>

#include "key_definitions.h"
#include "platform_adaptation/system_access/value_access_base.h"

namespace aipqctl {

// A connected key of any type that has a value. Every operation throws Failure on error.
class KeyAccess {
  public:
    // Called on the model's thread for each change.
    using OnChange = std::function<void(const Value&)>;
    // Called on the model's thread: with false when the key leaves with its television, with true when it
    // returns.
    using OnAvailability = std::function<void(bool)>;

    KeyAccess(const std::string& key, lomodelapi::ObjectTypeSpec type, OnChange onChange = {},
              OnAvailability onAvailability = {});
    ~KeyAccess();
    KeyAccess(const KeyAccess&) = delete;
    KeyAccess& operator=(const KeyAccess&) = delete;

    Value read();
    // Sends the value to the television; read the key again to see whether it took effect.
    void write(const Value& value);

  private:
    const lomodelapi::ObjectTypeSpec m_type;
    std::unique_ptr<ValueAccessBase> m_access;
};

// Waits up to 2 s until the television returns `wanted`, because a write may take effect late. Returns false
// if it does not.
bool reads(KeyAccess& key, const Value& wanted);

}  // namespace aipqctl

#endif
