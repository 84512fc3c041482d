// The operations that the application manager calls in a registered application. A television's own header
// must offer the class with this order of virtual operations.
//
// Every operation is called on the application manager's client thread, one at a time; a return value of 0
// means success.
#ifndef ZT_APPMANAGER_APP_INTERFACE_H
#define ZT_APPMANAGER_APP_INTERFACE_H

#include <string>

namespace zt {
namespace appmanager {

// The reasons for suspend-to-RAM (STR) and for its end. The numbers are the application manager's.
typedef int APMSuspendReason_t;
typedef int APMResumeReason_t;

class AppInterface {
  public:
    virtual ~AppInterface() = default;

    virtual int onRunning(const std::string& appUrl, const std::string& param) = 0;
    virtual int onDestroy(const std::string& appUrl) = 0;
    virtual int onSuspend(const std::string& appUrl, const std::string& param) = 0;
    virtual int onSuspendEx(const std::string& appUrl, const std::string& param) = 0;
    virtual int onResume(const std::string& appUrl, const std::string& param) = 0;
    virtual int onResumeEx(const std::string& appUrl, const std::string& param) = 0;
    virtual int onSTRSuspending(const std::string& appUrl, APMSuspendReason_t reason) = 0;
    virtual int onSTRSuspend(const std::string& appUrl, APMSuspendReason_t reason) = 0;
    virtual int onSTRResume(const std::string& appUrl, APMResumeReason_t reason) = 0;
    virtual int onSTRResuming(const std::string& appUrl, APMResumeReason_t reason) = 0;
    virtual int onGetFocus(const std::string& appUrl) = 0;
    virtual int onLostFocus(const std::string& appUrl) = 0;
    virtual int onResourceReady(const std::string& appUrl, int resource) = 0;
    virtual int onReleaseResource(const std::string& appUrl, int resource) = 0;
    virtual int onUIAppStatusNotify(const std::string& appUrl, int status) = 0;
    virtual int notifyAppEventMessage(const std::string& message) = 0;
    virtual int onKeyEvent(int key, int action) = 0;
    virtual std::string getName() = 0;

    // Optional for applications.
    virtual int onLowMemory(int level) {
        static_cast<void>(level);
        return 0;
    }
    virtual int onLanguageChanged(const std::string& language) {
        static_cast<void>(language);
        return 0;
    }
    virtual int onScreenSaver(bool shown) {
        static_cast<void>(shown);
        return 0;
    }
};

}  // namespace appmanager
}  // namespace zt

#endif
