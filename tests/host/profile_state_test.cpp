#include "tvkstore_run.h"

#include <sqlite3.h>

namespace fs = std::filesystem;

namespace {

void makeDatabase(fs::path const& file, char const* statements) {
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database, statements, nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(database);
    EXPECT_EQ(sqlite3_close(database), SQLITE_OK);
    fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write);
}

constexpr char newer[] = "CREATE TABLE t(x); PRAGMA application_id = 0x57435054; PRAGMA user_version = 9999";

void place(fs::path const& file, std::string const& content, unsigned mode) {
    writeWhole(file, content);
    fs::permissions(file, fs::perms(mode));
}

// Why, what is done with the place of the user's database, exit code, message.
using StateRow = std::tuple<char const*, std::function<void(fs::path const&)>, int, char const*>;

std::vector<StateRow> const stateRows{
    {"no home yet", [](auto& file) { fs::remove(file.parent_path()); }, 0, ""},
    {"not a database", [](auto& file) { place(file, std::string(8192, 'x'), 0600); }, 5, "system code 0x570"},
    {"a newer release's", [](auto& file) { makeDatabase(file, newer); }, 3, "made by a newer release"},
    {"others may write it", [](auto& file) { place(file, "", 0666); }, 4, "others have rights to it"},
    {"a directory in its place", [](auto& file) { fs::create_directory(file); }, 4, "not a regular file"},
};

class ProfileStateTest : public TvkstoreTest {};

TEST_F(ProfileStateTest, EachStateOfTheDatabaseHasItsAnswerAndStaysAsItIs) {
    for (auto const& [why, prepare, exitCode, message] : stateRows) {
        SCOPED_TRACE(why);
        fs::path const file = profile.userHome() / "user.db";
        fs::create_directories(profile.userHome());
        ASSERT_NO_FATAL_FAILURE(prepare(file));
        Snapshot const before = snapshot(profile.directory().path());

        ProgramResult const result = run({"list"});
        EXPECT_EQ(result.exitCode, exitCode) << result.error;
        EXPECT_NE(result.error.find(message), std::string::npos) << result.error;
        if (exitCode != 0) {
            EXPECT_EQ(result.output, "");
            EXPECT_NE(result.error.find("error: can't open store MY: "), std::string::npos) << result.error;
            EXPECT_NE(result.error.find(file.string()), std::string::npos) << result.error;
        }
        EXPECT_EQ(snapshot(profile.directory().path()), before);
        fs::remove_all(profile.userHome());
        fs::create_directories(profile.userHome());
    }
    profileIsReady();
}

TEST_F(ProfileStateTest, AUserWithoutHomeIsToldWhatToSet) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can become a user who isn't known";
    // The program itself may lie where only root reads.
    auto const result = runInShell("exec env -u HOME -u XDG_DATA_HOME -u WINCRYPT_USER_HOME setpriv --reuid "
                                   "54321 --clear-groups --inh-caps +dac_read_search "
                                   "--ambient-caps +dac_read_search \"$0\" \"$@\"",
                                   {"list"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_NE(result.error.find("set HOME, XDG_DATA_HOME or WINCRYPT_"), std::string::npos) << result.error;
}

} // namespace
