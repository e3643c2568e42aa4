#include "support/test_certificates.h"
#include "tvkstore_run.h"

namespace {

// Words, exit code, what stands in standard error, why.
using UsageRow = std::tuple<Words, int, char const*, char const*>;

std::vector<UsageRow> const usageRows{
    {{}, 2, "error: no command\nhint: \"tvkstore --help\"", "a command is needed"},
    {{"nope"}, 2, "error: no command \"nope\"", "an unknown command is named"},
    {{"list", "providers"}, 2, "not expected: providers", "one command a run"},
    {{"list", "--nope"}, 2, "not expected: --nope\nhint: \"tvkstore list --help\"", "unknown option"},
    {{"list", "--store", "My"}, 2, "no store \"My\": it is one of MY, CA, ROOT, UserDS", "names are exact"},
    {{"--store", "MY", "--store", "CA", "list"}, 2, "--store", "contradictory values"},
    {{"list", "--provider", ""}, 2, "--provider: is empty", "an unset variable of a script"},
    {{"list", "--provider", "Nobody"}, 2, "listed are \"Microsoft Enhanced Crypto", "what there is"},
    {{"random", "1", "--hex", "--provider", "Nobody"}, 2, "no provider \"Nobody\"", "with every command"},
    {{"list", "--trace=x"}, 2, "--trace: \"x\" is neither", "no mask"},
    {{"show"}, 2, "no item is named", "nothing to show"},
    {{"show", "--label", "a", "--cert", "b"}, 2, "more than one way", "two items"},
    {{"show", "--issuer", "CN=a"}, 2, "--serial and --issuer go together", "half a name"},
    {{"show", "--serial", "1:2g", "--issuer", "CN=a"}, 2, "\"1:2g\" isn't a number", "not hexadecimal"},
    {{"show", "--cert", "/nowhere/file"}, 3, "/nowhere/file: No such file", "a missing file is named"},
    {{"show", "--cert", "/etc/passwd"}, 3, "/etc/passwd: holds no certificate", "not a certificate"},
    {{"show", "--cert", systemTrustBundle}, 3, "certificates, not one", "ambiguous"},
    {{"show", "--label", "a"}, 1, "no certificate with label a in store MY", "not found is a plain no"},
    {{"random"}, 2, "N is required", "missing argument"},
    {{"random", "0"}, 2, "\"0\" isn't a number of bytes", "nothing"},
    {{"random", "-1"}, 2, "\"-1\" isn't", "must not wrap"},
    {{"random", "18446744073709551616"}, 2, "isn't a number of bytes", "must not wrap"},
    {{"random", "4", "--force"}, 2, "--force goes with --out", "no effect otherwise"},
    {{"random", "4", "--out", "/nowhere/file"}, 3, "/nowhere/file: No such file", "no such folder"},
    {{"random", "4", "--out", "/dev/null", "--force"}, 2, "/dev/null: not a regular file", "a device"},
    {{"list", "--module", "nowhere"}, 3, "nowhere.so not found in", "no such module"},
    {{"list", "--module", "nowhere"}, 3, "hint: TVK_PLUGIN_PATH", "what to do"},
    {{"list", "--module", "/nowhere/m.so"}, 3, "/nowhere/m.so", "no such file"},
    {{"list", "--module", "/etc/passwd"}, 3, "invalid ELF header", "not a library"},
};

class UsageTest : public WorkFolderTest {};

TEST_F(UsageTest, WrongCommandLinesEndWithTheirCodeAndWriteNothing) {
    for (auto const& [words, exitCode, message, why] : usageRows) {
        SCOPED_TRACE(why + std::string(": ") + testing::PrintToString(words));
        ProgramResult const result = run(words);
        EXPECT_EQ(result.exitCode, exitCode);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.error.rfind("tvkstore: error: ", 0), 0u) << result.error;
        EXPECT_NE(result.error.find(message), std::string::npos) << result.error;
    }
}

TEST_F(UsageTest, HelpThatWasAskedForIsNoError) {
    for (Words const& words : {Words{"--help"}, Words{"list", "-h"}, Words{"--version"}}) {
        SCOPED_TRACE(testing::PrintToString(words));
        ProgramResult const result = run(words);
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_NE(result.output.find("tvkstore"), std::string::npos);
        EXPECT_EQ(result.error, "");
    }
}

TEST_F(UsageTest, GlobalOptionsStandOnEitherSide) {
    EXPECT_EQ(run({"--store", "CA", "--json", "list"}).output,
              run({"list", "--json", "--store", "CA"}).output);
}

TEST_F(UsageTest, ProvidersAreListedWithTheirType) {
    char const* const name = "Microsoft Enhanced Cryptographic Provider v1.0";
    auto const listed = json({"providers", "--provider", name});
    ASSERT_FALSE(listed.empty());
    EXPECT_EQ(listed[0], (nlohmann::json{{"name", name}, {"type", 1}}));
    EXPECT_NE(run({"providers"}).output.find("1     " + std::string(name) + '\n'), std::string::npos);
}

TEST_F(UsageTest, LibrariesAreNotTakenFromWhereItIsRun) {
    expectScript(R"(for i in crypto.so.3 sqlite3.so.0 stdc++.so.6 tvkcore.so.1 tvksoft.so.1 wincrypt.so.1; do
            echo no library >lib$i; done
        $0 list; $0 random 8 --hex)");
}

TEST_F(UsageTest, TheTraceGoesToStandardErrorByComponent) {
    EXPECT_NE(run({"list", "--trace"}).error.find("getCspManager"), std::string::npos);
    EXPECT_EQ(run({"list", "--trace=4"}).error, "");
    EXPECT_EQ(run({"list"}).error, "");
}

} // namespace
