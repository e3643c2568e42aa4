#include "tvkstore_run.h"

#include "support/test_certificates.h"

#include <regex>

namespace {

std::filesystem::path const project = PROJECT_SOURCE;

class DocumentationTest : public TvkstoreTest {};

TEST_F(DocumentationTest, TheReadmesProgramIsTheOneThatIsBuilt) {
    std::string const example = readWhole(project / "docs/examples/first_host.cpp");
    EXPECT_NE(readWhole(project / "README.md").find("```cpp\n" + example + "```\n"), std::string::npos);
}

TEST_F(DocumentationTest, TheReadmesProgramFindsTheRoots) {
    auto const result = runProgram({.arguments = {FIRST_HOST}});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    std::string const end = std::to_string(readTrustBundle().size()) + " certificates\n";
    EXPECT_TRUE(result.output.ends_with(end)) << result.output;
}

TEST_F(DocumentationTest, TheSampleSignsInTheProviderAndVerifiesWithout) {
    auto const result = runProgram({.arguments = {SIGN_AND_VERIFY}});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    EXPECT_EQ(result.output, "256 bytes of signature\nit verifies\n");
    profileIsReady(); // the key pair stays
}

TEST_F(DocumentationTest, EveryCommandAndOptionStandsInManualAndCompletion) {
    std::regex const command("^  ([a-z]+) ", std::regex::multiline);
    std::regex const option("--[a-z][a-z-]*");
    for (std::filesystem::path const program : {TVKSTORE, WINCRYPTCTL}) {
        SCOPED_TRACE(program);
        auto const help = [&](Words words) {
            words.insert(words.begin(), program);
            return runProgram({.arguments = words}).output;
        };
        std::set<std::string> words{"--version"};
        auto const collect = [&](std::string const& text, std::regex const& pattern, int group) {
            for (std::sregex_iterator found(text.begin(), text.end(), pattern), end; found != end; ++found)
                words.insert((*found)[group]);
        };
        collect(help({"--help"}), command, 1);
        std::set<std::string> const commands = words;
        collect(help({"--help"}), option, 0);
        ASSERT_GE(commands.size(), 4u);
        for (std::string const& name : commands)
            collect(help({name, "--help"}), option, 0);
        // The manual writes a hyphen with a backslash.
        std::string const name = program.filename();
        std::string const manual =
            std::regex_replace(readWhole(project / "docs/man" / (name + ".1")), std::regex(R"(\\-)"), "-");
        std::string const completion = readWhole(project / "docs/completion" / (name + ".bash"));
        for (std::string const& word : words) {
            std::regex const whole("(^|[^a-z-])" + word + "([^a-z-]|$)");
            EXPECT_TRUE(std::regex_search(manual, whole)) << word;
            EXPECT_TRUE(std::regex_search(completion, whole)) << word;
        }
    }
}

} // namespace
