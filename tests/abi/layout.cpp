// One object file with all classes whose layout is part of the interface. The test reads its debug
// information and the compiler's class dump. The code is never run.
#include "platform_adaptation/ai_common.h"
#include "platform_adaptation/picture_capture.h"
#include "platform_adaptation/system_access/action_access.h"
#include "platform_adaptation/system_access/iterator_access.h"
#include "platform_adaptation/system_access/source_switch_access_impl.h"
#include "platform_adaptation/system_access/system_access.h"
#include "platform_adaptation/system_access/table_access.h"
#include "platform_adaptation/system_access/value_access.h"
#include "platform_adaptation/system_info.h"
#include "platform_adaptation/system_setting.h"
#include "platform_adaptation/system_state.h"
#include "video/capture_block.h"

ValueHandlerT<SystemSetting>* handler(SystemSetting* owner) {
    return new ValueHandlerT<SystemSetting>(owner, &SystemSetting::onVideoBrightnessChanged);
}

// The debug information lists a function only if it is called.
void callTheCommonFunctions(korvale::ai::PictureData& picture) {
    initPictureData(picture);
    getChannels(picture.colorMode);
    str2int("", 0);
    outputCharSerial("", "", 0);
    fileExist("");
    currentThread();
}
