// The layer's own tool, run as a program: what it finds, what it leaves alone, and what a backup is worth.
#include "layer_fixture.h"
#include "support/run_program.h"

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <random>

using namespace layer_test;

namespace {

namespace fs = std::filesystem;
using Edit = std::function<void(fs::path const&)>;

// Runs the tool; the text has to stand in what it writes.
void expectRun(std::vector<std::string> words, int exitCode, std::string const& text) {
    SCOPED_TRACE(testing::PrintToString(words));
    words.insert(words.begin(), WINCRYPTCTL);
    auto const result = runProgram({.arguments = words});
    std::string const all = result.output + result.error;
    EXPECT_TRUE(result.exitCode == exitCode && all.find(text) < all.size()) << result.exitCode << all;
}

Edit run(char const* text) {
    return [text](fs::path const& database) { sql(database, text); };
}

Edit const intoOneFile = run("PRAGMA wal_checkpoint(TRUNCATE)");

void overwriteAPage(fs::path const& database) {
    std::string bytes = readWhole(database);
    std::generate_n(&bytes[bytes.find("Person 7") / 4096 * 4096], 4096, std::minstd_rand());
    std::ofstream(database, std::ios::binary) << bytes;
}

bool insert(unsigned number, std::wstring const& container, char const* store = "MY") {
    ContextHandle const context = add(openStore(store), certificate(number));
    return context && setKeyInfo(context.get(), container);
}

// Certificates, and behind them two that name containers; the log holds the changes.
void fill() {
    ASSERT_TRUE(inChild([] {
        for (unsigned number = 1; number <= 18; ++number)
            add(openStore("MY"), certificate(number));
        return newContainer("first", 512) && newContainer("second", 512) && insert(19, L"first") &&
               insert(20, L"second");
    }));
}

class Ctl : public LayerTest {};

TEST_F(Ctl, AFailedInsertLeavesAnOrphanWhichAloneIsRemoved) {
    fill();
    newContainer("left", 512); // an import, whose certificate is then refused
    ASSERT_EQ(errorOf([] { return add(openStore("MY"), certificate(1)); }), code(CRYPT_E_EXISTS));
    newContainer("by machine", 512);
    StoreHandle const machine = openStore(L"MY", CERT_SYSTEM_STORE_LOCAL_MACHINE);
    ASSERT_TRUE(setKeyInfo(add(machine, certificate(30)).get(), L"by machine"));
    ASSERT_TRUE(insert(31, L"nowhere") && insert(32, L"second", "CA") && insert(33, L""));
    HCRYPTKEY key = 0; // of the default container, which no certificate needs to name
    EXPECT_TRUE(CryptGenKey(openContainer(nullptr).get(), AT_SIGNATURE, 512u << 16, &key));
    expectRun({"orphans"}, 0, "STATE\ncontainer    left ");
    expectRun({"orphans"}, 0, "exportable\ncertificate  MY: Person 31 (42001F)  container nowhere isn't");
    expectRun({"orphans"}, 0, " has no exchange key"); // of number 33
    expectRun({"orphans", "--remove"}, 2, "hint: --force removes without a question");
    expectRun({"orphans", "--remove", "--dry-run"}, 0, "would remove container left\n");
    expectRun({"orphans", "--remove", "--force"}, 0, "removed container left\n");
    expectRun({"containers"}, 0, "MY: Person 20 (420014), CA: Person 32 (420020)");
    expectRun({"containers"}, 0, "machine MY: Person 30 (42001E)");
    run("UPDATE certificate SET key_info = '' WHERE id & 31 = 19")(userDatabase());
    expectRun({"orphans", "--remove", "--force"}, 5, "nothing was removed: damaged certificates may name");
    EXPECT_FALSE(openContainer("left"));
    EXPECT_TRUE(openContainer("first") && openContainer("second") && openContainer("by machine"));
}

TEST_F(Ctl, DamageIsNamedAndWhatIsWholeIsListed) {
    std::tuple<char const*, Edit, char const*> const rows[] = {
        {"row", run("UPDATE certificate SET encoding = x'30' WHERE id & 31 = 2"), "2: doesn't decode"},
        {"reference", run("UPDATE certificate SET key_info = '' WHERE id & 31 = 19"), "19: its key"},
        {"key moved", run("UPDATE key SET container = 2, slot = 2 WHERE container = 1"), "altered or moved"},
        {"key file", [](auto& p) { std::ofstream(p.parent_path() / "sealing.key") << std::string(32, 'k'); },
         "sealing.key: isn't the key that 2 private keys are sealed under"},
        {"page", overwriteAPage, "damaged: store MY, certificate 7: can't be read"},
    };
    for (auto const& [why, damage, text] : rows) {
        EnvironmentVariable const home("WINCRYPT_USER_HOME", profile.file(why).string());
        fill();
        intoOneFile(profile.file(why) / "user.db");
        expectRun({"check"}, 0, "user.db: 20 certificates, 2 containers, 2 keys");
        damage(profile.file(why) / "user.db");
        expectRun({"check"}, 5, text);
        expectRun({"containers"}, 5, "MY: Person 20 (420014)");
        EXPECT_GE(all(openStore("MY")).size(), 13u) << why << ": a page holds seven";
    }
}

TEST_F(Ctl, HoweverItIsDamagedItIsToldAndNothingIsMadeAnew) {
    fill();
    intoOneFile(userDatabase());
    std::ofstream(profile.file("cert"))
        .write(reinterpret_cast<char const*>(certificate(40).data()),
               static_cast<std::streamsize>(certificate(40).size()));
    std::string const whole = readWhole(userDatabase());
    std::vector<std::string> damaged{"", "S"};
    for (std::size_t size = 512; size < whole.size(); size += 512)
        damaged.push_back(whole.substr(0, size));
    for (std::size_t page = 0; page < whole.size(); page += 4096) {
        std::fill_n(&damaged.emplace_back(whole)[page], 4096, '\0');
        std::generate_n(&damaged.emplace_back(whole)[page], 4096, std::minstd_rand());
    }
    for (std::string const& bytes : damaged) {
        SCOPED_TRACE(&bytes - damaged.data());
        fs::remove(userDatabase() += "-wal"), fs::remove(userDatabase() += "-shm");
        std::ofstream(userDatabase(), std::ios::binary) << bytes;
        expectRun({"check"}, 5, "damaged: ");
        auto const list = test_support::runProgram({.arguments = {TVKSTORE, "list"}});
        bool const isListed = std::count(list.output.begin(), list.output.end(), '\n') > 20;
        EXPECT_TRUE(list.exitCode == 5 || (list.exitCode == 0 && isListed))
            << list.exitCode << list.output << list.error;
        auto const change =
            test_support::runProgram({.arguments = {TVKSTORE, "import", profile.file("cert")}});
        EXPECT_TRUE(change.exitCode == 0 || change.exitCode == 3 || change.exitCode == 5) << change.exitCode;
        EXPECT_TRUE(change.exitCode == 0 || change.error.find("tvkstore: error: ") < change.error.size());
        EXPECT_TRUE(change.exitCode == 0 || readWhole(userDatabase()) == bytes) << "written";
    }
}

TEST_F(Ctl, CheckingChangesNothing) {
    auto const remove = [&](std::string const& suffix) { fs::remove(userDatabase().string() + suffix); };
    auto const temporary = userDatabase().string() + ".a1B2c3";
    fill();
    std::tuple<Edit, int, char const*> const rows[] = {
        {[](auto&) {}, 0, "user.db-wal: holds changes"},
        {[&](auto&) { remove("-shm"); }, 3, "user.db-wal: its index is missing"},
        {[&](auto&) { all(openStore("MY")); }, 0, "20 certificates"}, // which this process keeps open
        {intoOneFile, 0, "20 certificates"},
        {[&](auto&) { remove("-wal"), remove("-shm"); }, 0, "20 certificates"},
        {[&](auto&) { std::ofstream{temporary}; }, 0, ".a1B2c3: temporary"},
    };
    auto const snapshot = [&] {
        std::map<fs::path, std::pair<std::string, fs::file_time_type>> files;
        for (auto const& file : fs::directory_iterator(profile.userHome()))
            files[file] = {readWhole(file), file.last_write_time()};
        return files;
    };
    for (auto const& [prepare, exitCode, text] : rows) {
        prepare(userDatabase());
        auto const before = snapshot();
        expectRun({"check"}, exitCode, text);
        EXPECT_EQ(snapshot(), before) << text;
    }
    fs::last_write_time(temporary, fs::file_time_type::clock::now() - std::chrono::minutes(61));
    expectRun({"check", "--clean"}, 0, "removed: " + temporary);
    EXPECT_FALSE(fs::exists(temporary));
}

TEST_F(Ctl, ABackupIsWholeWhileAnotherProcessWritesAndAFailedOneLeavesNothing) {
    fill();
    pid_t const writer = ::fork();
    for (unsigned number = 100; writer == 0; ++number)
        if (!add(openStore("MY"), certificate(number)))
            ::_exit(1);
    while (!find(openStore("MY"), certificate(100)))
        ASSERT_EQ(::waitpid(writer, nullptr, WNOHANG), 0);
    auto const& directory = profile.directory().path();
    expectRun({"backup", directory / "copy"}, 0, "copy/user.db: 2 private keys\n");
    EXPECT_EQ(::waitpid(writer, nullptr, WNOHANG), 0) << "the writer goes on";
    ::kill(writer, SIGKILL);
    ::waitpid(writer, nullptr, 0);
    expectRun({"backup", directory / "copy"}, 2, "copy: exists already");
    expectRun({"backup", directory / "none", "--scope", "machine"}, 1, "machine.db: there is none yet");
    fs::resize_file(profile.userHome() / "sealing.key", 31);
    expectRun({"backup", directory / "bad"}, 5, "sealing.key: isn't a sealing key");
    for (auto const& file : fs::directory_iterator(directory / "copy"))
        EXPECT_EQ(file.status().permissions(), fs::perms(0600)) << file.path();
    EXPECT_EQ(std::distance(fs::directory_iterator(directory), {}), 3) << "two homes, one copy";
    EnvironmentVariable const home("WINCRYPT_USER_HOME", (directory / "copy").string());
    EXPECT_TRUE(find(openStore("MY"), certificate(100)));
    expectRun({"containers"}, 0, "\nsecond     exchange 512 exportable  MY: Person 20 (420014)");
}

} // namespace
