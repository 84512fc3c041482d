#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "catalogue/catalogue.h"
#include "catalogue/suggestion.h"

using catalogue::KeyDefinition;
using catalogue::parseCatalogue;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

std::string errorOf(const std::string& text) {
    try {
        parseCatalogue(text, "my.toml");
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "accepted";
}

std::string keyWith(const std::string& lines) {
    return "[[key]]\nname = \"a.key\"\nmeaning = \"something\"\n" + lines;
}

TEST(TheCatalogue, HasEveryKeyThatTheLibraryUses) {
    const char* const names[] = {"dovra.sl2.i32.video.ai.pq.switch",
                                 "dovra.sl2.i32.video.aipq.user.switch.osd",
                                 "dovra.sl2.i32.video.ai.pq.available",
                                 "dovra.sl2.str.source.current.path",
                                 "dovra.sl2.str.video.format.info",
                                 "dovra.sl2.mpctrl.i32.media.stream.encrypted",
                                 "dovra.sl2.vstr.tvservice.play.main",
                                 "dovra.sl2.str.servicemode.videoinfo.hdrtype",
                                 "dovra.sl2.i32.video.enum.instant.game.response",
                                 "dovra.sl2.i32.video.aipq.supported",
                                 "dovra.sl2.i32.video.brightness",
                                 "dovra.sl2.i32.video.contrast",
                                 "dovra.sl2.i32.video.colour.intensity",
                                 "dovra.sl2.i32.video.sharpness",
                                 "dovra.sl2.i32.video.enum.memc",
                                 "dovra.sl2.i32.video.enum.dnc",
                                 "dovra.sl2.i32.video.color.tuner",
                                 "dovra.sl2.i32.video.color.tuner.luma",
                                 "dovra.sl2.i32.video.color.tuner.sat",
                                 "dovra.sl2.i32.video.color.tuner.hue",
                                 "dovra.sl2.vint.video.aipq.pq.setting",
                                 "dovra.sl2.action.source.switch",
                                 "dovra.sl2.i32.tvservice.no-banner",
                                 "dovra.sl2.table.channel.list"};
    const std::vector<KeyDefinition> keys = catalogue::loadCatalogue();
    for (const char* const name : names) {
        EXPECT_TRUE(std::any_of(keys.begin(), keys.end(), [&](const KeyDefinition& key) {
            return key.name == name;
        })) << name;
    }
    EXPECT_EQ(keys.size(), std::size(names));
}

TEST(AMisspeltName, IsFollowedByTheMostSimilarName) {
    const std::vector<std::string> names{"contrast", "brightness", "nr"};
    EXPECT_EQ(catalogue::suggestion("brightnes", names), "; did you mean 'brightness'?");
    EXPECT_EQ(catalogue::suggestion("contrats", names), "; did you mean 'contrast'?");
    EXPECT_EQ(catalogue::suggestion("colour", names), "");
    EXPECT_EQ(catalogue::suggestion(std::string(100000, 'n'), names), "");
    EXPECT_EQ(catalogue::suggestion("nr", {}), "");
}

TEST(TheCatalogue, HasAMeaningAndAGroupForEachKey) {
    for (const KeyDefinition& key : catalogue::loadCatalogue()) {
        EXPECT_FALSE(key.meaning.empty()) << key.name;
        EXPECT_FALSE(key.group.empty()) << key.name;
    }
}

TEST(TheCatalogue, CanBeReplacedByAFile) {
    const std::string path = testing::TempDir() + "catalogue_test.toml";
    std::ofstream(path) << keyWith("type = \"int64\"\ndefault = 5000000000\n");
    setenv("AIPQ_TV_CATALOGUE", path.c_str(), 1);
    const std::vector<KeyDefinition> keys = catalogue::loadCatalogue();
    unsetenv("AIPQ_TV_CATALOGUE");
    std::remove(path.c_str());
    ASSERT_EQ(keys.size(), 1U);
    EXPECT_EQ(keys[0].type, lomodelapi::OBJECT_TYPE_NUMERIC_INT64);
    EXPECT_EQ(std::get<long long>(keys[0].initial), 5000000000LL);
}

TEST(TheCatalogue, ThatCannotBeReadIsNamedInTheErrorWithTheReason) {
    const std::vector<std::pair<std::string, std::string>> reasons{
        {"/nowhere/catalogue.toml", "No such file or directory"},
        {"/", "Is a directory"},
        {"/dev/zero", "it is larger than 16 MiB"},
    };
    for (const auto& [path, reason] : reasons) {
        setenv("AIPQ_TV_CATALOGUE", path.c_str(), 1);
        try {
            catalogue::loadCatalogue();
            ADD_FAILURE() << path;
        } catch (const std::runtime_error& error) {
            EXPECT_EQ(error.what(), "cannot read '" + path + "': " + reason);
        }
    }
    unsetenv("AIPQ_TV_CATALOGUE");
}

struct Malformed {
    std::string text;
    std::string message;
};

// The size makes the names of the tests unique.
void PrintTo(const Malformed& malformed, std::ostream* out) {
    *out << malformed.message << " (" << malformed.text.size() << " bytes)";
}

class AMalformedCatalogue : public testing::TestWithParam<Malformed> {};

TEST_P(AMalformedCatalogue, IsRefusedWithLineColumnAndReason) {
    const std::string message = errorOf(GetParam().text);
    EXPECT_THAT(message, StartsWith("my.toml:"));
    EXPECT_THAT(message, HasSubstr(GetParam().message));
}

INSTANTIATE_TEST_SUITE_P(
    Each, AMalformedCatalogue,
    testing::Values(
        Malformed{"", "1:1: no [[key]]"}, Malformed{"key = 3\n", "no [[key]]"},
        Malformed{"key = [3]\n", "1:8: 'key' is not a table"}, Malformed{"[[key]\n", "my.toml:1:"},
        Malformed{"[[key]]\n", "1:1: a key without 'name'"},
        Malformed{"[[key]]\nname = 3\n", "2:8: 'name' is not a text"},
        Malformed{keyWith("default = 1\n"), "without 'type'"},
        Malformed{keyWith("type = \"integer\"\n"), "without 'default'"},
        Malformed{keyWith("type = \"number\"\ndefault = 1\n"), "4:8: unknown type 'number'"},
        Malformed{keyWith("type = \"integer\"\ndefault = \"1\"\n"), "5:11: no number of this type"},
        Malformed{keyWith("type = \"integer\"\ndefault = 2147483648\n"), "5:11: no number of this type"},
        Malformed{keyWith("type = \"integer\"\ndefault = 1.5\n"), "5:11: no number of this type"},
        Malformed{keyWith("type = \"string\"\ndefault = 1\n"), "5:11: no text"},
        Malformed{keyWith("type = \"integers\"\ndefault = 1\n"), "5:11: no list"},
        Malformed{keyWith("type = \"strings\"\ndefault = [1]\n"), "5:12: no text"},
        Malformed{keyWith("type = \"action\"\ndefault = 1\n"), "5:11: the type 'action' has no default"},
        Malformed{keyWith("type = \"integer\"\ndefault = 1\nrange = 5\n"), "6:9: 'range' is"},
        Malformed{keyWith("type = \"integer\"\ndefault = 1\nrange = [1]\n"), "6:9: 'range' is"},
        Malformed{keyWith("type = \"string\"\ndefault = \"\"\nrange = [1, 2]\n"), "6:9: 'range' is"},
        Malformed{keyWith("type = \"integer\"\ndefault = 3\nrange = [1, 2]\n"), "out of this range"},
        Malformed{keyWith("type = \"integer\"\ndefault = 1\ncolour = 1\n"), "6:1: unknown entry 'colour'"},
        Malformed{keyWith("type = \"integer\"\ndefault = 1\ntexts = [\"a\"]\n"),
                  "6:9: only a string has 'texts'"},
        Malformed{keyWith("type = \"string\"\ndefault = \"a\"\ntexts = []\n"), "6:9: 'texts' without a text"},
        Malformed{keyWith("type = \"string\"\ndefault = \"a\"\ntexts = [\"b\", \"c\"]\n"),
                  "6:9: the default is not one of b, c"},
        Malformed{keyWith("type = \"string\"\ndefault = \"a\"\nlength = 1\n"),
                  "6:10: only a list has a 'length'"},
        Malformed{keyWith("type = \"strings\"\ndefault = [\"a\"]\nlength = 2\n"),
                  "6:10: the default is not 2 texts"},
        Malformed{keyWith("type = \"integers\"\ndefault = []\nlength = -1\n"),
                  "6:10: no number of this type"},
        Malformed{keyWith("type = \"action\"\nrows = []\n"), "5:8: only a table has these"},
        Malformed{keyWith("type = \"table\"\n"), "a table without 'columns' and 'rows'"},
        Malformed{keyWith("type = \"table\"\ncolumns = [\"a\"]\nrows = [[\"1\"], []]\n"),
                  "6:16: not one text per column"},
        Malformed{keyWith("type = \"action\"\n") + keyWith("type = \"action\"\n"), "stands twice"}));

}  // namespace
