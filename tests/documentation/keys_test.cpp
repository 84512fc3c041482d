// Compares docs/keys.md with the catalogue and with the operations that use each key, as observed on the
// simulated television.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "catalogue/catalogue.h"
#include "platform_adaptation/system_access/source_switch_access_impl.h"
#include "platform_adaptation/system_info.h"
#include "platform_adaptation/system_setting.h"
#include "television_test.h"

using catalogue::typeName;
using simulated::KeyDefinition;

namespace {

constexpr char INTRODUCTION[] =
    "# Keys of the model\n\n"
    "These are the keys of the simulated television's model, from `platform/catalogue/catalogue.toml`. The "
    "last "
    "column names\nthe operations of `SystemInfo`, `SystemSetting` and `SourceSwitchAccess` that use the "
    "key. "
    "The accessors in\n`platform_adaptation/system_access/` can use any key of their type. A list of numbers "
    "or "
    "texts has as many elements as\nits default. A test compares this page with the catalogue and with the "
    "keys "
    "that the operations use. If they differ, the\ntest writes the correct page.\n";

std::string code(const std::string& text) { return '`' + text + '`'; }
std::string element(const std::string& text) { return '"' + text + '"'; }
std::string element(long long number) { return std::to_string(number); }

struct DefaultText {
    std::string operator()(std::monostate) const { return ""; }
    template <typename T>
    std::string operator()(const T& value) const {
        return code(element(value));
    }
    template <typename T>
    std::string operator()(const std::vector<T>& list) const {
        const bool uniform = list.size() > 4 && std::count(list.begin(), list.end(), list.front()) ==
                                                    static_cast<std::ptrdiff_t>(list.size());
        if (uniform) return std::to_string(list.size()) + " times " + code(element(list.front()));
        std::string elements;
        for (const T& one : list) elements += (elements.empty() ? "" : ", ") + element(one);
        return code('[' + elements + ']');
    }
};

using Uses = std::map<std::string, std::vector<std::string>>;

std::string tableOf(const std::vector<KeyDefinition>& keys, Uses& uses) {
    std::ostringstream out;
    out << INTRODUCTION;
    std::string group;
    for (const KeyDefinition& key : keys) {
        if (key.group != group) {
            group = key.group;
            out << "\n## " << group
                << "\n\n| key | type | range | default | meaning | operations |\n|---|---|---|---|---|---|\n";
        }
        out << "| " << code(key.name) << " | " << typeName(key.type) << " | ";
        if (key.range) out << key.range->text();
        out << " | " << std::visit(DefaultText(), key.initial) << " | " << key.meaning;
        for (std::size_t i = 0; i < key.columns.size(); ++i)
            out << (i == 0 ? "; columns " : ", ") << key.columns[i];
        out << " | ";
        std::string separator;
        for (const std::string& operation : uses[key.name]) {
            out << separator << code(operation);
            separator = ", ";
        }
        out << " |\n";
    }
    return out.str();
}

class TheTableOfKeys : public tests::TelevisionTest {
  protected:
    // The number of client operations on each key.
    std::map<std::string, std::size_t> traffic() {
        std::map<std::string, std::size_t> counts;
        for (const KeyDefinition& key : m_keys)
            counts[key.name] = model.connectAttempts(key.name) + model.writes(key.name).size() +
                               model.invocations(key.name).size();
        return counts;
    }

    void note(const std::string& operation, const std::function<void()>& call, bool starts = false) {
        const auto before = traffic();
        call();
        auto after = traffic();
        for (const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
             starts && after == before && std::chrono::steady_clock::now() < end; after = traffic())
            std::this_thread::yield();
        for (const KeyDefinition& key : m_keys)
            if (after[key.name] != before.at(key.name)) uses[key.name].push_back(operation);
    }

    const std::vector<KeyDefinition> m_keys = catalogue::loadCatalogue();
    Uses uses;
};

#define NOTE(object, operation) note(#operation, [&] { object.operation(); })
#define NOTE_START(object, operation) \
    note(                             \
        #operation, [&] { object.operation(0); }, true)

TEST_F(TheTableOfKeys, MatchesTheCatalogueAndTheFacades) {
    // The keys are unavailable, so an accessor tries to connect at each use, which identifies its key.
    for (const KeyDefinition& key : m_keys)
        if (key.type != lomodelapi::OBJECT_TYPE_ACTION) model.withdraw(key.name);
    SystemInfo info;
    NOTE(info, getAIPQSwitchAvailable);
    NOTE(info, getAIPQSwitchState);
    NOTE(info, getAIPQAvailable);
    NOTE(info, getSourceType);
    NOTE(info, getPlayerState);
    NOTE(info, getMediaStreamEncrypted);
    NOTE(info, getTvStreamEncrypted);
    NOTE(info, getVideoInfoHDRType);
    NOTE(info, getVideoGameMode);
    NOTE(info, getAIPQSupported);
    {
        SystemSetting setting;
        NOTE(setting, getVideoBrightness);
        NOTE_START(setting, setVideoBrightness);
        NOTE(setting, getVideoContrast);
        NOTE_START(setting, setVideoContrast);
        NOTE(setting, getVideoSaturation);
        NOTE_START(setting, setVideoSaturation);
        NOTE(setting, getVideoSharpness);
        NOTE_START(setting, setVideoSharpness);
        NOTE(setting, getVideoMEMC);
        NOTE_START(setting, setVideoMEMC);
        NOTE(setting, getVideoNR);
        NOTE_START(setting, setVideoNR);
        NOTE(setting, getVideoColorTuner);
        NOTE_START(setting, setVideoColorTuner);
        NOTE(setting, getVideoColorTunerB);
        NOTE(setting, getVideoColorTunerS);
        NOTE(setting, getVideoColorTunerH);
        std::vector<int> family{0, 0, 0, 0};
        note("getVideoColorTunerFamily", [&] { setting.getVideoColorTunerFamily(family); });
        family = {0, 0, 0, 0};
        note("setVideoColorTunerFamily", [&] { setting.setVideoColorTunerFamily(family); });
        std::vector<int> parameters(34);
        note("setVideoPQParameters", [&] { setting.setVideoPQParameters(parameters); });
        // Waits for the six background workers, which use the object until they fail.
        for (const char* const word : {"brightness", "contrast", "saturation", "sharpness", "MEMC", "NR"})
            EXPECT_TRUE(log.waitFor(std::string("get video ") + word + " failed.\n", 3)) << word;
    }
    SourceSwitchAccessImpl sources;
    using Resource = SourceSwitchAccess::_ResourceType;
    note("requestResourceFromSystem", [&] { sources.requestResourceFromSystem(Resource::RESOURCE_PSI); });
    note("releaseResourceToSystem", [&] { sources.releaseResourceToSystem(Resource::RESOURCE_PSI); });
    NOTE(sources, pauseVideo);
    NOTE(sources, pausePSI);
    NOTE(sources, pauseAV);
    NOTE(sources, pausePSIAV);
    NOTE(sources, resumeVideo);
    NOTE(sources, resumePSI);
    NOTE(sources, resumeAV);
    NOTE(sources, resumePSIAV);
    note("setQuietFlag", [&] { sources.setQuietFlag(1); });
    note("setChannelByUUIDs", [&] { sources.setChannelByUUIDs("c0000001", "f0000001", false); });
    note("setChannelByURI", [&] { sources.setChannelByURI("dvb://1.1051.28006", false); });
    NOTE(sources, setChannelNext);
    NOTE(sources, setChannelPrev);

    // The callbacks are tested with available keys and subscriptions to all of them.
    for (const KeyDefinition& key : m_keys) model.offer(key.name);
    SystemInfo direct;
    direct.getAIPQSwitchAvailable();
    direct.getAIPQSwitchState();
    direct.getAIPQAvailable();
    direct.getTvStreamEncrypted();
    std::string called;
    direct.registerCallBackAIPQ(
        [](AIPQMode, bool, void* name) { *static_cast<std::string*>(name) = "registerCallBackAIPQ"; },
        &called);
    direct.registerCallBackSourceType(
        [](SourceType, void* name) { *static_cast<std::string*>(name) = "registerCallBackSourceType"; },
        &called);
    direct.registerCallBackPlayerState(
        [](PlayerState, void* name) { *static_cast<std::string*>(name) = "registerCallBackPlayerState"; },
        &called);
    direct.registerCallBackStreamEncrypted(
        [](StreamMode, bool, void* name) {
            *static_cast<std::string*>(name) = "registerCallBackStreamEncrypted";
        },
        &called);
    direct.registerCallBackVideoInfoHDRType(
        [](VideoInfoHDRType, void* name) {
            *static_cast<std::string*>(name) = "registerCallBackVideoInfoHDRType";
        },
        &called);
    direct.registerCallBackVideoGameMode(
        [](VideoGameMode, void* name) { *static_cast<std::string*>(name) = "registerCallBackVideoGameMode"; },
        &called);
    ASSERT_TRUE(model.settle());
    for (const KeyDefinition& key : m_keys) {
        called.clear();
        model.announce(key.name);
        ASSERT_TRUE(model.settle());
        if (!called.empty()) uses[key.name].push_back(called);
    }

    std::ifstream file(KEYS_PAGE);
    std::stringstream documented;
    documented << file.rdbuf();
    const std::string wanted = tableOf(m_keys, uses);
    if (documented.str() == wanted) return;
    std::ofstream(KEYS_PAGE_WANTED) << wanted;
    FAIL() << "docs/keys.md does not match the keys. Review the new table and copy it:\n  cp "
           << KEYS_PAGE_WANTED << ' ' << KEYS_PAGE;
}

}  // namespace
