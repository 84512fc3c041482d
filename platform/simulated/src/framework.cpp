#include "simulated/framework.h"

#include <boost/make_shared.hpp>

#include "frame/process.h"
#include "other_television.h"
#include "simulated/television.h"

namespace simulated {

namespace {

constexpr char ROOT_NAME[] = "dovra.lm.interfaces.tvapi.RootInterface";
constexpr int STATUS_UNKNOWN_INTERFACE = 1;

class ModelInterface : public frame::Interface {
  public:
    RootInterface* getRootInterface() override {
        if (OtherTelevision* const other = otherTelevision())
            return other->givesRoot() ? other->root() : nullptr;
        Television& television = Television::instance();
        return television.framework().givesRoot() ? television.model().root() : nullptr;
    }
};

}  // namespace

void Framework::failLookups(int status) {
    const std::lock_guard lock(m_mutex);
    m_status = status;
}

void Framework::withholdRoot(bool withhold) {
    const std::lock_guard lock(m_mutex);
    m_withholdRoot = withhold;
}

int Framework::lookupStatus() const {
    const std::lock_guard lock(m_mutex);
    return m_status;
}

bool Framework::withholdsRoot() const {
    const std::lock_guard lock(m_mutex);
    return m_withholdRoot;
}

unsigned Framework::lookups() const {
    const std::lock_guard lock(m_mutex);
    return m_lookups;
}

unsigned Framework::rootQuestions() const {
    const std::lock_guard lock(m_mutex);
    return m_rootQuestions;
}

void Framework::reset() {
    const std::lock_guard lock(m_mutex);
    m_status = 0;
    m_withholdRoot = false;
    m_lookups = 0;
    m_rootQuestions = 0;
}

int Framework::lookUp(const std::string& name) {
    const std::lock_guard lock(m_mutex);
    ++m_lookups;
    if (m_status != 0) return m_status;
    return name == ROOT_NAME ? 0 : STATUS_UNKNOWN_INTERFACE;
}

bool Framework::givesRoot() {
    const std::lock_guard lock(m_mutex);
    ++m_rootQuestions;
    return !m_withholdRoot;
}

}  // namespace simulated

namespace frame {

Process Process::getInstance() {
    if (simulated::otherTelevision() == nullptr) simulated::Television::instance().powerOn();
    return Process();
}

int Process::getInterfaceReference(boost::shared_ptr<Interface>& reference, const std::string& name) {
    simulated::OtherTelevision* const other = simulated::otherTelevision();
    const int status =
        other != nullptr ? other->lookUp(name) : simulated::Television::instance().framework().lookUp(name);
    if (status != 0) return status;
    // Created once: the destructor of an accessor looks it up, and must not need memory.
    static const auto& model =
        *new boost::shared_ptr<Interface>(boost::make_shared<simulated::ModelInterface>());
    reference = model;
    return 0;
}

}  // namespace frame
