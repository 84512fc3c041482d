#include "platform_adaptation/system_access/source_switch_access_impl.h"

#include <atomic>
#include <stdexcept>
#include <string_view>

#include "platform_adaptation/ai_common.h"
#include "shared_member.h"

#define LOG_TAG "[Platform Adaptation]"
#include "log.h"

using lomodelapi::Argument;

namespace {

constexpr char SWITCH_ACTION[] = "dovra.sl2.action.source.switch";
constexpr char QUIET_FLAG[] = "dovra.sl2.i32.tvservice.no-banner";
constexpr int CONNECT_TIMEOUT_MS = 1000;

constexpr char REQUEST_RESOURCE[] = "2";
constexpr char RELEASE_RESOURCE[] = "3";
constexpr char CHANGE_CHANNEL[] = "8";
constexpr char CHANGE_PLAYBACK[] = "11";

SourceSwitchAccessImpl* instance = nullptr;
int requestCount = 0;

std::string nextTag() {
    const int count = std::atomic_ref<int>(requestCount).fetch_add(1, std::memory_order_relaxed) + 1;
    return "ss_access_" + std::to_string(currentThread()) + "_" + std::to_string(count);
}

// The action's answers, for the accessor that it was made for.
class SourceSwitchActionHandlerImpl final : public ActionHandler {
  public:
    explicit SourceSwitchActionHandlerImpl(SourceSwitchAccessImpl* owner) : m_owner(owner) {}

    // Whoever calls these is the model, which knows nothing of exceptions.

    void onActionResult(int actionId, const ValueObject& result) override {
        try {
            m_owner->onActionResult(actionId, result);
        } catch (const std::runtime_error& error) {
            LOG_ERROR("An runtime_error has been caught:%s.\n", error.what());
        }
    }

    void onActionFailed(int actionId, int error) override {
        try {
            m_owner->onActionFailed(actionId, error);
        } catch (const std::runtime_error& failure) {
            LOG_ERROR("An runtime_error has been caught:%s.\n", failure.what());
        }
    }

  private:
    SourceSwitchAccessImpl* m_owner;
};

}  // namespace

struct SourceSwitchAccessImpl::Parameter {
    std::uint16_t position;
    std::string_view value;
};

// No lock: two first calls at once may each make an instance.
SourceSwitchAccessImpl* SourceSwitchAccessImpl::GetInstance() {
    LOG_ENTER();
    if (loadShared(instance) == nullptr) storeShared(instance, new SourceSwitchAccessImpl);
    return loadShared(instance);
}

SourceSwitchAccessImpl::SourceSwitchAccessImpl()
    : m_actionAccess(nullptr),
      m_quietFlagAccess(nullptr),
      m_actionHandler(std::make_shared<SourceSwitchActionHandlerImpl>(this)),
      m_avRunning(false),
      m_videoRunning(false),
      m_psiRunning(false) {
    LOG_ENTER();
}

SourceSwitchAccessImpl::~SourceSwitchAccessImpl() {
    LOG_ENTER();
    if (m_actionAccess != nullptr) m_actionAccess->disconnect();
    delete m_actionAccess;
    delete m_quietFlagAccess;
}

ActionAccess* SourceSwitchAccessImpl::connectToValue(std::string name) {
    LOG_ENTER();
    if (ActionAccess* const connected = loadShared(m_actionAccess)) return connected;
    LOG_INFO("Connecting To Value: %s  \n", name.c_str());
    auto access = std::make_unique<ActionAccess>(name, m_actionHandler);
    if (const int status = access->connect(CONNECT_TIMEOUT_MS); status != 0) {
        LOG_ERROR("Error connect value : %s,  status: %d\n", name.c_str(), status);
        return nullptr;
    }
    // Another thread may have been faster; its accessor is then the one.
    ActionAccess* current = nullptr;
    if (std::atomic_ref<ActionAccess*>(m_actionAccess).compare_exchange_strong(current, access.get()))
        return access.release();
    return current;
}

bool SourceSwitchAccessImpl::request(ActionAccess* action, std::initializer_list<Parameter> parameters,
                                     const char* function) {
    unsigned int actionId = 0xFFFFFFFF;
    int status = 0;
    {
        // Gone before the wait, which may be long, for many callers at once.
        std::vector<Argument> arguments;
        arguments.reserve(1 + parameters.size());
        arguments.push_back({0, 0, nextTag()});
        for (const Parameter& parameter : parameters)
            arguments.push_back({0, parameter.position, std::string(parameter.value)});
        status = action->invoke(actionId, arguments);
    }
    if (status != 0) {
        LOG_AT(logging::LEVEL_ERROR, function, "error: %d\n", status);
        return false;
    }
    try {
        return waitForResult(actionId);
    } catch (const std::runtime_error& error) {
        LOG_AT(logging::LEVEL_ERROR, function, "An runtime_error has been caught:%s.\n", error.what());
        return false;
    }
}

bool SourceSwitchAccessImpl::waitForResult(unsigned int actionId) {
    LOG_ENTER();
    const int id = static_cast<int>(actionId);
    LOG_INFO("waiting result ...  for  actionid: %d\n", id);
    UniqueLock lock(m_resultMutex);
    // Every answer wakes all who wait, and each looks for its own. There is no time-out.
    for (int pass = 1;; ++pass) {
        LOG_INFO("waiting result ...  %03d   actionid: %d\n", pass, id);
        if (const auto result = m_actionResults.find(actionId); result != m_actionResults.end()) {
            const int code = result->second;
            m_actionResults.erase(result);
            LOG_INFO("waiting done. %d  : err : %d\n", id, code);
            return code == 0;
        }
        m_resultCond.wait(lock);
    }
}

// An answer that is not consumed yet stays; one for which nobody waits stays for ever.
void SourceSwitchAccessImpl::takeAnswer(unsigned int actionId, int code) {
    UniqueLock lock(m_resultMutex);
    m_actionResults.emplace(actionId, code);
    m_resultCond.notifyAll();
}

void SourceSwitchAccessImpl::onActionResult(int actionId, const ValueObject&) {
    LOG_ENTER();
    takeAnswer(static_cast<unsigned int>(actionId), 0);
}

void SourceSwitchAccessImpl::onActionFailed(int actionId, int error) {
    LOG_ENTER();
    takeAnswer(static_cast<unsigned int>(actionId), error);
}

int SourceSwitchAccessImpl::setQuietFlag(int flag) {
    auto* access = loadShared(m_quietFlagAccess);
    if (access == nullptr) {
        auto made = std::make_unique<ValueAccessT<lomodelapi::ObserverNumericInteger>>(QUIET_FLAG);
        if (std::atomic_ref<decltype(m_quietFlagAccess)>(m_quietFlagAccess)
                .compare_exchange_strong(access, made.get()))
            access = made.release();
    }
    return access->setValue(flag);
}

// Resources and playback

bool SourceSwitchAccessImpl::requestResource(const char* command, _ResourceType type, const char* function) {
    LOG_ENTER_AS(function);
    ActionAccess* const action = connectToValue(SWITCH_ACTION);
    if (action == nullptr) return false;
    return request(action, {{1, command}, {2, "hbbtv"}, {3, std::to_string(type)}}, function);
}

bool SourceSwitchAccessImpl::requestResourceFromSystem(_ResourceType type) {
    return requestResource(REQUEST_RESOURCE, type, __func__);
}

bool SourceSwitchAccessImpl::releaseResourceToSystem(_ResourceType type) {
    return requestResource(RELEASE_RESOURCE, type, __func__);
}

bool SourceSwitchAccessImpl::changeDTVPlaybackStatus(_ResourceType type) {
    return requestResource(CHANGE_PLAYBACK, type, __func__);
}

SourceSwitchAccess::_ResourceType SourceSwitchAccessImpl::runningResources() const {
    int set = RESOURCE_VIDEO;
    if (loadShared(m_avRunning)) set |= RESOURCE_AUDIO;
    if (loadShared(m_psiRunning)) set |= RESOURCE_PSI;
    return static_cast<_ResourceType>(set);
}

bool SourceSwitchAccessImpl::pausePSI() {
    const bool done = requestResourceFromSystem(RESOURCE_PSI);
    if (done) storeShared(m_psiRunning, false);
    return done;
}

bool SourceSwitchAccessImpl::pauseAV() {
    LOG_ENTER();
    const bool done = requestResourceFromSystem(RESOURCE_AV);
    if (done) {
        storeShared(m_avRunning, false);
        storeShared(m_videoRunning, false);
    }
    return done;
}

// Asks nothing of the television, unlike its counterpart.
bool SourceSwitchAccessImpl::pausePSIAV() {
    LOG_ENTER();
    storeShared(m_avRunning, false);
    storeShared(m_videoRunning, false);
    storeShared(m_psiRunning, false);
    return true;
}

bool SourceSwitchAccessImpl::resumePSI() {
    LOG_ENTER();
    const bool done = releaseResourceToSystem(RESOURCE_PSI);
    if (done) storeShared(m_psiRunning, true);
    return done;
}

bool SourceSwitchAccessImpl::resumeAV() {
    LOG_ENTER();
    const bool done = releaseResourceToSystem(RESOURCE_AV);
    if (done) {
        storeShared(m_avRunning, true);
        storeShared(m_videoRunning, true);
    }
    return done;
}

bool SourceSwitchAccessImpl::resumePSIAV() {
    LOG_ENTER();
    const bool done = releaseResourceToSystem(RESOURCE_PSI_AV);
    if (done) {
        storeShared(m_avRunning, true);
        storeShared(m_videoRunning, true);
        storeShared(m_psiRunning, true);
    }
    return done;
}

// The same request twice: the television knows whether it stops or restarts what plays.

bool SourceSwitchAccessImpl::pauseVideo() {
    const bool done = changeDTVPlaybackStatus(runningResources());
    if (done) storeShared(m_videoRunning, false);
    return done;
}

bool SourceSwitchAccessImpl::resumeVideo() {
    LOG_ENTER();
    const bool done = changeDTVPlaybackStatus(runningResources());
    if (done) storeShared(m_videoRunning, true);
    return done;
}

// Channels. Position 5 stands twice in a tuning request: the television resolves the list itself.

bool SourceSwitchAccessImpl::requestStep(const char* direction, const char* function) {
    LOG_ENTER_AS(function);
    ActionAccess* const action = connectToValue(SWITCH_ACTION);
    if (action == nullptr) return false;
    return request(action, {{1, CHANGE_CHANNEL}, {2, "hbbtv"}, {3, direction}, {5, "2"}}, function);
}

bool SourceSwitchAccessImpl::setChannelNext() { return requestStep("+1", __func__); }
bool SourceSwitchAccessImpl::setChannelPrev() { return requestStep("-1", __func__); }

bool SourceSwitchAccessImpl::setChannelByURI(std::string uri, bool forceShowAV) {
    LOG_ENTER();
    ActionAccess* const action = connectToValue(SWITCH_ACTION);
    if (action == nullptr) return false;
    return request(
        action,
        {{1, CHANGE_CHANNEL}, {2, "hbbtv"}, {3, uri}, {4, ""}, {5, "2"}, {5, forceShowAV ? "1" : "0"}},
        __func__);
}

bool SourceSwitchAccessImpl::setChannelByUUIDs(std::string channelUUID, std::string folderUUID,
                                               bool forceShowAV) {
    LOG_ENTER();
    ActionAccess* const action = connectToValue(SWITCH_ACTION);
    if (action == nullptr) return false;
    LOG_INFO("channelUUID:'%s', folderUUID:'%s', forceShowAV:%d.\n", channelUUID.c_str(), folderUUID.c_str(),
             forceShowAV);
    return request(action,
                   {{1, CHANGE_CHANNEL},
                    {2, "hbbtv"},
                    {3, channelUUID},
                    {4, folderUUID},
                    {5, "2"},
                    {5, forceShowAV ? "1" : "0"}},
                   __func__);
}
