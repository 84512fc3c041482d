// Benchmarks of a notification from its sender to the receiver's function, of reads and writes, and of
// construction.
#include <sigc++/sigc++.h>

#include <any>
#include <boost/signals2.hpp>
#include <memory>
#include <string>

#include "floor.h"
#include "measure.h"
#include "platform_adaptation/picture_capture.h"
#include "platform_adaptation/system_access/source_switch_access_impl.h"
#include "platform_adaptation/system_info.h"
#include "platform_adaptation/system_setting.h"
#include "platform_adaptation/system_state.h"
#include "subjects.h"

namespace benchmarks {

namespace {

struct Receiver {
    void onAny(const std::any& value) { last = std::any_cast<int>(value); }
    void onInt(int value) { last = value; }
    int last = 0;
};

class FloorHandlerOfReceiver : public FloorHandler {
  public:
    FloorHandlerOfReceiver(Receiver* receiver, void (Receiver::*callback)(int))
        : m_receiver(receiver), m_callback(callback) {}
    void onNewValue(int value) override { (m_receiver->*m_callback)(value); }

  private:
    Receiver* m_receiver;
    void (Receiver::*m_callback)(int);
};

template <typename Value>
struct SigcReceiver : sigc::trackable, Receiver {};

}  // namespace

void addSignals() {
    add("notify_int", "library", [] {
        return [subjects = std::make_shared<Subjects>(), value = 0]() mutable {
            subjects->integerObserver->notifyNewValue(++value);
            benchmark::DoNotOptimize(subjects->owner.last);
        };
    });
    add("notify_int", "floor", [] {
        auto receiver = std::make_shared<Receiver>();
        std::shared_ptr<FloorObserver> floor =
            makeFloor(std::make_shared<FloorHandlerOfReceiver>(receiver.get(), &Receiver::onInt));
        return [receiver, floor, value = 0]() mutable {
            floor->notifyNewValue(++value);
            benchmark::DoNotOptimize(receiver->last);
        };
    });
    add("notify_int", "direct call", [] {
        return [function = directFunction(), value = 0, last = 0]() mutable {
            function(++value, last);
            benchmark::DoNotOptimize(last);
        };
    });
    add("notify_int", "Boost.Signals2, std::any", [] {
        auto receiver = std::make_shared<Receiver>();
        auto signal = std::make_shared<boost::signals2::signal<void(const std::any&)>>();
        signal->connect([receiver = receiver.get()](const std::any& value) { receiver->onAny(value); });
        return [receiver, signal, value = 0]() mutable {
            (*signal)(std::any(++value));
            benchmark::DoNotOptimize(receiver->last);
        };
    });
    add("notify_int", "libsigc++, std::any", [] {
        auto receiver = std::make_shared<SigcReceiver<std::any>>();
        auto signal = std::make_shared<sigc::signal<void, const std::any&>>();
        signal->connect(sigc::mem_fun(*receiver, &Receiver::onAny));
        return [receiver, signal, value = 0]() mutable {
            signal->emit(std::any(++value));
            benchmark::DoNotOptimize(receiver->last);
        };
    });
    add("notify_int", "libsigc++, int", [] {
        auto receiver = std::make_shared<SigcReceiver<int>>();
        auto signal = std::make_shared<sigc::signal<void, int>>();
        signal->connect(sigc::mem_fun(*receiver, &Receiver::onInt));
        return [receiver, signal, value = 0]() mutable {
            signal->emit(++value);
            benchmark::DoNotOptimize(receiver->last);
        };
    });
    add("notify_string", "library", [] {
        return [subjects = std::make_shared<Subjects>()] {
            subjects->textObserver->notifyNewValue(subjects->twentyCharacters);
            benchmark::DoNotOptimize(subjects->owner.last);
        };
    });

    add("read_int", "library", [] {
        return [subjects = std::make_shared<Subjects>()] {
            int value = 0;
            subjects->access->getValue(value);
            benchmark::DoNotOptimize(value);
        };
    });
    add("read_int", "floor", [] {
        return [model = std::shared_ptr<StillValue>(makeStillValue())] {
            BizValue& value = asModelValue(*model);
            int read = 0;
            if (value.getType() == lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER) read = value.getInteger();
            benchmark::DoNotOptimize(read);
        };
    });
    add("write_int", "library", [] {
        return [subjects = std::make_shared<Subjects>(), value = 0]() mutable {
            subjects->access->setValue(++value);
        };
    });
    add("write_int", "floor", [] {
        return [model = std::shared_ptr<StillValue>(makeStillValue()), number = 0]() mutable {
            BizValue& value = asModelValue(*model);
            if (value.getType() == lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER) value.setInteger(++number);
        };
    });
    add("log_line_off", "library", [] {
        quiet();
        return [value = 0]() mutable { logLine(++value); };
    });

    add("facades", "SystemInfo", [] {
        quiet();
        return [] { const SystemInfo facade; };
    })->Unit(benchmark::kMicrosecond);
    add("facades", "SystemSetting", [] {
        quiet();
        return [] { const SystemSetting facade; };
    })->Unit(benchmark::kMicrosecond);
    add("facades", "PictureCapture", [] {
        quiet();
        return [] { const PictureCapture facade; };
    });
    add("facades", "SystemState", [] {
        quiet();
        return [] { const SystemState facade("benchmark"); };
    });
    add("facades", "SourceSwitchAccessImpl", [] {
        quiet();
        return [] { const SourceSwitchAccessImpl facade; };
    });
}

}  // namespace benchmarks
