#include "platform_adaptation/system_access/source_switch_access_impl.h"

#include <atomic>
#include <exception>

#include "platform_adaptation/ai_common.h"
#include "shared_member.h"
#include "status.h"

#define LOG_TAG "[Platform Adaptation]"
#include "log.h"

using lomodelapi::Argument;

namespace {

constexpr char SWITCH_ACTION[] = "dovra.sl2.action.source.switch";
constexpr char QUIET_FLAG[] = "dovra.sl2.i32.tvservice.no-banner";
constexpr int ACTION_CONNECT_TIMEOUT_MS = 1000;

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

// Passes the action's answers to the accessor that created it.
class SourceSwitchActionHandlerImpl final : public ActionHandler {
  public:
    explicit SourceSwitchActionHandlerImpl(SourceSwitchAccessImpl* owner) : m_owner(owner) {}

    // The model calls these: they must not throw into it.

    void onActionResult(int actionId, const ValueObject& result) override {
        try {
            m_owner->onActionResult(actionId, result);
        } catch (const std::exception& error) {
            LOG_ERROR("An runtime_error has been caught:%s.\n", error.what());
        }
    }

    void onActionFailed(int actionId, int error) override {
        try {
            m_owner->onActionFailed(actionId, error);
        } catch (const std::exception& failure) {
            LOG_ERROR("An runtime_error has been caught:%s.\n", failure.what());
        }
    }

  private:
    SourceSwitchAccessImpl* m_owner;
};

// Catches every exception of a request, logs it under the request's name and returns `failure`.
template <typename Result, typename Operation>
Result attempt(const char* function, Result failure, Operation operation) {
    try {
        return operation();
    } catch (const std::exception& error) {
        LOG_ERROR_AS(function, "An runtime_error has been caught:%s.\n", error.what());
        return failure;
    }
}

}  // namespace

struct SourceSwitchAccessImpl::Parameter {
    std::uint16_t position;
    std::string value;
};

// There is no lock: two first calls at the same time may each create an instance.
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
    constexpr const char* function = "connectToValue";
    return attempt(function, static_cast<ActionAccess*>(nullptr), [&]() -> ActionAccess* {
        auto access = std::make_unique<ActionAccess>(name, m_actionHandler);
        if (const int status = access->connect(ACTION_CONNECT_TIMEOUT_MS); status != 0) {
            LOG_ERROR_AS(function, "Error connect value : %s,  status: %d\n", name.c_str(), status);
            return nullptr;
        }
        storeShared(m_actionAccess, access.get());
        return access.release();
    });
}

// Every request begins with its tag, its command and a fixed text.
bool SourceSwitchAccessImpl::request(ActionAccess* action, const char* command,
                                     std::initializer_list<Parameter> parameters, const char* function) {
    unsigned int actionId = 0xFFFFFFFF;
    std::vector<Argument> arguments;
    arguments.push_back({0, 0, nextTag()});
    arguments.push_back({0, 1, command});
    arguments.push_back({0, 2, "hbbtv"});
    for (const Parameter& parameter : parameters)
        arguments.push_back({0, parameter.position, parameter.value});
    if (const int status = action->invoke(actionId, arguments); status != 0) {
        LOG_ERROR_AS(function, "error: %d\n", status);
        return false;
    }
    return waitForResult(actionId);
}

bool SourceSwitchAccessImpl::waitForResult(unsigned int actionId) {
    LOG_ENTER();
    const int id = static_cast<int>(actionId);
    LOG_INFO("waiting result ...  for  actionid: %d\n", id);
    UniqueLock lock(m_resultMutex);
    // Every answer wakes all waiting threads, and each searches for its own answer. There is no timeout.
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

// An answer is kept until it is consumed; without a waiting thread, for ever.
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
    using IntegerAccess = ValueAccessT<lomodelapi::ObserverNumericInteger>;
    return attempt(__func__, STATUS_NOT_CONNECTED, [&] {
        if (loadShared(m_quietFlagAccess) == nullptr)
            storeShared(m_quietFlagAccess, new IntegerAccess(QUIET_FLAG));
        return loadShared(m_quietFlagAccess)->setValue(flag);
    });
}

// Resources and playback

bool SourceSwitchAccessImpl::requestResource(const char* command, _ResourceType type, const char* function) {
    LOG_ENTER_AS(function);
    return attempt(function, false, [&] {
        ActionAccess* const action = connectToValue(SWITCH_ACTION);
        return action != nullptr && request(action, command, {{3, std::to_string(type)}}, function);
    });
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

// Unlike its counterpart, sends no request.
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

// pauseVideo() and resumeVideo() send the same request: the television knows whether to stop or restart.

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

// Channels

bool SourceSwitchAccessImpl::requestStep(const char* direction, const char* function) {
    LOG_ENTER_AS(function);
    return attempt(function, false, [&] {
        ActionAccess* const action = connectToValue(SWITCH_ACTION);
        return action != nullptr && request(action, CHANGE_CHANNEL, {{3, direction}, {5, "2"}}, function);
    });
}

bool SourceSwitchAccessImpl::setChannelNext() { return requestStep("+1", __func__); }
bool SourceSwitchAccessImpl::setChannelPrev() { return requestStep("-1", __func__); }

// There are two arguments for position 5: the television resolves the list itself.
bool SourceSwitchAccessImpl::tune(ActionAccess* action, const std::string& channel, const std::string& folder,
                                  bool forceShowAV, const char* function) {
    return request(action, CHANGE_CHANNEL,
                   {{3, channel}, {4, folder}, {5, "2"}, {5, forceShowAV ? "1" : "0"}}, function);
}

bool SourceSwitchAccessImpl::setChannelByURI(std::string uri, bool forceShowAV) {
    constexpr const char* function = "setChannelByURI";
    LOG_ENTER();
    return attempt(function, false, [&] {
        ActionAccess* const action = connectToValue(SWITCH_ACTION);
        return action != nullptr && tune(action, uri, "", forceShowAV, function);
    });
}

bool SourceSwitchAccessImpl::setChannelByUUIDs(std::string channelUUID, std::string folderUUID,
                                               bool forceShowAV) {
    constexpr const char* function = "setChannelByUUIDs";
    LOG_ENTER();
    return attempt(function, false, [&] {
        ActionAccess* const action = connectToValue(SWITCH_ACTION);
        if (action == nullptr) return false;
        LOG_INFO_AS(function, "channelUUID:'%s', folderUUID:'%s', forceShowAV:%d.\n", channelUUID.c_str(),
                    folderUUID.c_str(), forceShowAV);
        return tune(action, channelUUID, folderUUID, forceShowAV, function);
    });
}
