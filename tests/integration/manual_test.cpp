// The manuals and completions of the programs, compared with the programs' own help.
#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "child_process.h"

using testing::HasSubstr;
using tests::ChildProcess;

namespace {

using Words = std::vector<std::string>;

struct Program {
    std::string file;
    std::string manual;
    std::string completion;
    // The words of a command line; completion replaces the last one.
    Words typed;
    std::string possible;

    std::string name() const { return file.substr(file.rfind('/') + 1); }
};

void PrintTo(const Program& program, std::ostream* out) { *out << program.name(); }

// The options of each command by its name; the program's own options have the empty name.
using Options = std::map<std::string, std::set<std::string>>;

std::set<std::string> optionsIn(std::string text) {
    std::replace(text.begin(), text.end(), ',', ' ');
    std::istringstream words(text);
    std::set<std::string> options;
    for (std::string word; words >> word;)
        if (word.starts_with('-') && word.size() > 1) options.insert(word);
    return options;
}

void collectHelp(const std::string& program, const Words& command, Options& options) {
    Words words{program};
    words.insert(words.end(), command.begin(), command.end());
    words.emplace_back("--help");
    ChildProcess help(words);
    ASSERT_EQ(help.wait(), 0);
    std::istringstream lines(help.output());
    std::set<std::string> own;
    bool isGroup = false;
    std::string part;
    for (std::string line; std::getline(lines, line);) {
        if (line.ends_with(':')) part = line;
        if (part == "Options:" && line.starts_with("  -")) {
            own.merge(optionsIn(line.substr(0, line.find("  ", 3))));
        } else if (part == "Subcommands:" && line.starts_with("  ")) {
            isGroup = true;
            Words below = command;
            below.push_back(line.substr(2, line.find_first_of(" ,", 2) - 2));
            collectHelp(program, below, options);
        }
    }
    std::string name;
    for (const std::string& word : command) name += (name.empty() ? "" : " ") + word;
    if (!name.empty()) {
        own.erase("-h");
        own.erase("--help");
    }
    if (!isGroup || name.empty()) options[name] = own;
}

Options readManual(const std::string& file) {
    Options options;
    std::ifstream manual(file);
    std::string command;
    for (std::string line; std::getline(manual, line);) {
        if (line.starts_with(".Sh ENVIRONMENT")) break;
        if (line.starts_with(".Ss ")) {
            command = line.substr(4, line.find_first_of("OA", 4) - 4);
            command.erase(command.find_last_not_of(' ') + 1);
            options[command];
        }
        if (!line.starts_with(".It Fl")) continue;
        std::string words = line;
        for (const auto& [macro, sign] : {std::pair("Fl Fl ", "--"), std::pair("Fl ", "-")})
            for (std::size_t at = words.find(macro); at != std::string::npos; at = words.find(macro))
                words.replace(at, std::string(macro).size(), sign);
        options[command].merge(optionsIn(words));
    }
    return options;
}

class AProgram : public testing::TestWithParam<Program> {};

TEST_P(AProgram, DocumentsTheSameOptionsInHelpAndManual) {
    Options help;
    collectHelp(GetParam().file, {}, help);
    EXPECT_GT(help.size(), 1U);
    EXPECT_EQ(readManual(GetParam().manual), help);
}

TEST_P(AProgram, HasAWellFormedManual) {
    ChildProcess lint({"mandoc", "-Tlint", GetParam().manual});
    EXPECT_LE(lint.wait(), 1);  // at most style warnings
    std::istringstream remarks(lint.output());
    for (std::string remark; std::getline(remarks, remark);) {
        // A machine may lack the manuals of other programs.
        EXPECT_THAT(remark, HasSubstr("STYLE: referenced manual not found: "));
    }
}

TEST_P(AProgram, PrintsItsNameAndVersion) {
    ChildProcess program({GetParam().file, "--version"});
    EXPECT_EQ(program.wait(), 0);
    EXPECT_EQ(program.output(), GetParam().name() + " " PROJECT_VERSION "\n");
}

// Bash runs the program to get the words.
TEST_P(AProgram, CompletesItsCommandLineInBash) {
    const std::string name = GetParam().name();
    std::string typed;
    for (const std::string& word : GetParam().typed) typed += " " + word;
    ChildProcess bash({"bash", "-c",
                       "source " + GetParam().completion + "; COMP_WORDS=(" + GetParam().file + typed +
                           "); COMP_CWORD=" + std::to_string(GetParam().typed.size()) + "; _" + name +
                           "; echo \"${COMPREPLY[@]}\"; complete -p " + name});
    EXPECT_EQ(bash.wait(), 0) << bash.errors();
    EXPECT_EQ(bash.output(), GetParam().possible + "\ncomplete -o default -F _" + name + " " + name + "\n");
}

const Program AIPQCTL{AIPQCTL_PROGRAM,
                      SOURCE_FOLDER "/tools/aipqctl/aipqctl.1",
                      COMPLETION_FOLDER "/aipqctl",
                      {"set", "co"},
                      "contrast color-tuner color-tuner-luma color-tuner-sat color-tuner-hue"};

const Program TELEVISION{TELEVISION_PROGRAM,
                         SOURCE_FOLDER "/tools/aipq-television/aipq-television.1",
                         COMPLETION_FOLDER "/aipq-television",
                         {"--name", "kitchen", "play", "--s"},
                         "--speed"};

TEST(RunCommandDocumentation, ListsTheSameExitCodesEverywhere) {
    ChildProcess help({TELEVISION_PROGRAM, "run", "--help"});
    ASSERT_EQ(help.wait(), 0);
    ChildProcess rendered({"mandoc", TELEVISION.manual});
    ASSERT_EQ(rendered.wait(), 0);
    const std::string manual = std::regex_replace(rendered.output(), std::regex("\\s+"), " ");
    std::ostringstream page;
    page << std::ifstream(SOURCE_FOLDER "/docs/television.md").rdbuf();

    int count = 0;
    std::istringstream lines(help.output());
    for (std::string line; std::getline(lines, line);) {
        // A line such as "  2    the command line is wrong".
        std::istringstream words(line);
        int code = 0;
        std::string meaning;
        if (!(words >> code) || !std::getline(words >> std::ws, meaning)) continue;
        ++count;
        const std::string number = std::to_string(code);
        EXPECT_THAT(page.str(), HasSubstr("| " + number + " | " + meaning + " |\n"));
        EXPECT_THAT(manual, HasSubstr(' ' + number + " T" + meaning.substr(1) + ". "));
    }
    EXPECT_EQ(count, 8);
}

std::string nameOf(const testing::TestParamInfo<Program>& program) {
    std::string name = program.param.name();
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Each, AProgram, testing::Values(AIPQCTL, TELEVISION), nameOf);

}  // namespace
