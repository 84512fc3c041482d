#include "still_model.h"

#include <atomic>
#include <boost/make_shared.hpp>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "csp/debug.h"
#include "frame/process.h"
#include "lomodelapi/root_interface.h"

using namespace lomodelapi;

namespace benchmarks {

namespace {

std::function<void(unsigned)> invocationListener;
std::atomic<unsigned> lastInvocation{0};

// Derives the type from the key's name.
ObjectTypeSpec typeOf(const std::string& key) {
    static const std::pair<const char*, ObjectTypeSpec> types[] = {
        {".i32.", OBJECT_TYPE_NUMERIC_INTEGER},
        {".str.", OBJECT_TYPE_STRING},
        {".vint.", OBJECT_TYPE_VECTOR_NUMERIC_INTEGER},
        {".vstr.", OBJECT_TYPE_VECTOR_STRING},
        {".action.", OBJECT_TYPE_ACTION},
    };
    for (const auto& [part, type] : types)
        if (key.find(part) != std::string::npos) return type;
    return OBJECT_TYPE_NONE;
}

class Root final : public RootInterface {
  public:
    int connectValue(const std::string& name, Observer*, BizValue*& value) override {
        const std::lock_guard lock(m_mutex);
        auto& object = m_values[name];
        if (object == nullptr) object = std::make_unique<StillValue>(typeOf(name));
        value = object.get();
        return 0;
    }
    int disconnectValue(const std::string&, Observer*, BizValue*) override { return 0; }

  private:
    std::mutex m_mutex;
    std::map<std::string, std::unique_ptr<StillValue>> m_values;
};

class Interface final : public frame::Interface {
  public:
    RootInterface* getRootInterface() override { return &m_root; }

  private:
    Root m_root;
};

}  // namespace

ObjectTypeSpec StillValue::getType() { return m_type; }
int StillValue::getInteger() { return m_integer; }
int StillValue::setInteger(int value) {
    m_integer = value;
    return 0;
}
int StillValue::getString(std::string& value) {
    value = m_text;
    return 0;
}
int StillValue::setString(const std::string& value) {
    m_text = value;
    return 0;
}
int StillValue::getIntegerVector(std::vector<int>& value) {
    value.assign(1, m_integer);
    return 0;
}
int StillValue::setIntegerVector(const std::map<int, int>&) { return 0; }
int StillValue::getStringVector(std::vector<std::string>& value) {
    value.assign(1, m_text);
    return 0;
}
int StillValue::invoke(unsigned int& actionId, const std::vector<Argument>&) {
    actionId = ++lastInvocation;
    invocationListener(actionId);
    return 0;
}

void onInvocation(std::function<void(unsigned)> listener) { invocationListener = std::move(listener); }

void quiet() { setenv("AIPQ_TV_VIDEO", "off", 1); }

}  // namespace benchmarks

namespace frame {

Process Process::getInstance() { return {}; }

int Process::getInterfaceReference(boost::shared_ptr<Interface>& reference, const std::string&) {
    static const auto model = boost::make_shared<benchmarks::Interface>();
    reference = model;
    return 0;
}

}  // namespace frame

// Replaces the debug output of the simulated television; all levels are off.

namespace {
std::atomic<int> levels{0};
}

int cspDebugCheckLevelGetFrameAndChunk(unsigned) { return levels.load(std::memory_order_relaxed); }
void cspDebugOutput0(unsigned, const char*, ...) {}
