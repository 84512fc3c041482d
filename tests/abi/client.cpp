#include "client.h"

#include <typeinfo>

namespace client {
namespace {

int value = 0;
unsigned action = 0;

class Access : public ValueAccessT<lomodelapi::ObserverNumericInteger> {
  public:
    Access() : ValueAccessT<lomodelapi::ObserverNumericInteger>("client.value") {}
    using ValueAccessT<lomodelapi::ObserverNumericInteger>::notifyNewValue;
    void notifyNewValue(int newValue) override { value = newValue; }
};

class Action : public ActionAccess {
  public:
    Action() : ActionAccess("client.action") {}
    void notifyResult(unsigned int actionId, const std::vector<lomodelapi::Argument>&) override {
        action = actionId;
    }
};

class Setting : public SystemSetting {
  public:
    int getVideoBrightness() override { return 7; }
};

class Owner {
  public:
    void onChanged(const ValueObject& newValue) { value = newValue; }
};

}  // namespace

std::unique_ptr<ValueAccessBase> makeAccess() { return std::unique_ptr<ValueAccessBase>(new Access); }
std::unique_ptr<SystemSettingInterface> makeSetting() {
    return std::unique_ptr<SystemSettingInterface>(new Setting);
}
std::unique_ptr<lomodelapi::ObserverAction> makeAction() {
    return std::unique_ptr<lomodelapi::ObserverAction>(new Action);
}

std::shared_ptr<ValueHandler> makeHandler() {
    static Owner owner;
    return std::make_shared<ValueHandlerT<Owner>>(&owner, &Owner::onChanged);
}

std::shared_ptr<ValueHandler> makeHandlerWithoutOwner() {
    return std::make_shared<ValueHandlerT<Owner>>(nullptr, &Owner::onChanged);
}

lomodelapi::ObserverNumericInteger* asObserver(ValueAccessBase& access) {
    return dynamic_cast<lomodelapi::ObserverNumericInteger*>(&access);
}

ActionAccess* asAccess(lomodelapi::Observer& observer) { return dynamic_cast<ActionAccess*>(&observer); }

bool isSystemSetting(SystemSettingInterface& setting) { return typeid(setting) == typeid(SystemSetting); }

int lastValue() { return value; }
unsigned lastAction() { return action; }

}  // namespace client
