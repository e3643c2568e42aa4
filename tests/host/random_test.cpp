#include "tvkstore_run.h"

#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

class RandomTest : public WorkFolderTest {
protected:
    auto filesInFolder() const { return std::distance(fs::directory_iterator(work.path()), {}); }

    std::string const out = file("out");
};

TEST_F(RandomTest, GivesTheWantedAmountInEachForm) {
    // More than one part of the program's own.
    std::string const large = run({"random", "2500000"}).output;
    EXPECT_EQ(large.size(), 2500000u);
    EXPECT_NE(large.substr(0, 1 << 20), large.substr(1 << 20, 1 << 20));

    std::string const digits = run({"random", "17", "--hex"}).output;
    EXPECT_EQ(digits.size(), 35u);
    EXPECT_EQ(digits.find_first_not_of("0123456789abcdef"), 34u);

    auto const value = json({"random", "017"});
    EXPECT_EQ(value["bytes"], 17);
    EXPECT_EQ(value["hex"].get<std::string>().size(), 34u);
}

TEST_F(RandomTest, AFileIsPrivateAndReplacedOnlyByForce) {
    ASSERT_EQ(runInShell("umask 0; exec \"$0\" \"$@\"", {"random", "9", "--out", out}).exitCode, 0);
    std::string const first = readWhole(out);
    EXPECT_EQ(first.size(), 9u);
    struct stat status {};
    ASSERT_EQ(::stat(out.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777u, 0600u);

    ProgramResult const refused = run({"random", "9", "--out", out});
    EXPECT_EQ(refused.exitCode, 2);
    EXPECT_EQ(refused.error, "tvkstore: error: " + out + ": exists already\nhint: --force replaces it\n");
    EXPECT_EQ(readWhole(out), first);

    // Through a link its target is replaced, not the link.
    fs::path const link = work.path() / "link";
    fs::create_symlink(out, link);
    EXPECT_EQ(run({"random", "10", "--out", link.string(), "--force"}).exitCode, 0);
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(readWhole(out).size(), 10u);
    EXPECT_EQ(filesInFolder(), 2);
}

TEST_F(RandomTest, AFailedRunLeavesNoFile) {
    // A limit on the size of files stands for a full disk; its signal is ignored so that the write fails.
    auto const full = runInShell("trap '' XFSZ; ulimit -f 8; exec $0 random 100000 --out \"$@\"", {out});
    EXPECT_EQ(full.exitCode, 3);
    EXPECT_EQ(run({"random", "9", "--out", out, "--module", "nowhere"}).exitCode, 3);
    // A signal in the middle of an endless run.
    auto const ended = runInShell("timeout -s TERM 0.5 $0 random 18446744073709551615 --out \"$@\"", {out});
    EXPECT_EQ(ended.exitCode, 124);
    EXPECT_EQ(filesInFolder(), 0);
}

TEST_F(RandomTest, OutputThatGoesNowhereIsNoSuccess) {
    for (auto const& [line, exitCode, message] : {
             std::tuple{"\"$0\" \"$@\" >/dev/full", 3, "standard output: No space left"},
             std::tuple{"\"$0\" \"$@\" >&-", 3, "standard output: Bad file descriptor"},
             std::tuple{"{ { \"$0\" \"$@\"; echo $? >&3; } | :; } 3>&1 | grep -qx 3", 0,
                        "standard output: Broken pipe"},
             std::tuple{"script -qec \"$0 random 9\" /dev/null >&2", 2, "aren't written to a terminal"},
         }) {
        SCOPED_TRACE(line);
        ProgramResult const result = runInShell(line, {"random", "9000000"});
        EXPECT_EQ(result.exitCode, exitCode);
        EXPECT_NE(result.error.find(message), std::string::npos) << result.error;
    }
}

} // namespace
