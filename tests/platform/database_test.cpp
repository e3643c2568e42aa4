// What becomes of the database: who may use it, what is wrong with it, other processes, forks, power.
#include "layer_fixture.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <fstream>

static bool saysNetwork = false;

// Stands before the system's for the layer too.
extern "C" int statfs(char const* path, struct statfs* system) noexcept {
    int const file = ::open(path, O_PATH | O_CLOEXEC);
    int const result = ::fstatfs(file, system);
    ::close(file);
    if (saysNetwork)
        system->f_type = 0x6969;
    return result;
}

using namespace layer_test;

namespace {

namespace fs = std::filesystem;

constexpr uid_t otherUser = 54321;

class DatabaseFiles : public LayerTest {
protected:
    DatabaseFiles() : logVariable("WINCRYPT_LOG", profile.file("log").string()) {}

    std::string log() const { return readWhole(profile.file("log")); }

    // Everything into one file, as a stopped process leaves it.
    void fillAndClose(fs::path const& database) {
        ASSERT_TRUE(inChild([] { return add(openStore("MY"), certificate(1)) && newContainer("kept"); }));
        sql(database, "PRAGMA wal_checkpoint(TRUNCATE)");
    }

    EnvironmentVariable logVariable;
};

TEST_F(DatabaseFiles, WhatIsWrongWithAFileIsToldAndNotOverwritten) {
    constexpr DWORD denied = ERROR_ACCESS_DENIED;
    std::tuple<char const*, std::function<void(fs::path const&)>, DWORD> const rows[] = {
        {"rubbish", [](auto& p) { std::ofstream(p) << std::string(5000, '#'); }, ERROR_FILE_CORRUPT},
        {"cut short", [](auto& p) { fs::resize_file(p, fs::file_size(p) / 2); }, ERROR_FILE_CORRUPT},
        {"newer", [](auto& p) { sql(p, "PRAGMA user_version = 99"); }, ERROR_REVISION_MISMATCH},
        {"of another program", [](auto& p) { sql(p, "PRAGMA application_id = 7"); }, ERROR_FILE_CORRUPT},
        {"writable by others", [](auto& p) { fs::permissions(p, fs::perms(0622)); }, denied},
        {"of another user", [](auto& p) { EXPECT_EQ(::chown(p.c_str(), otherUser, otherUser), 0); }, denied},
        {"without its log's database",
         [](auto& p) { std::ofstream(p.string() + "-wal") << "log", fs::resize_file(p, 0); },
         ERROR_FILE_CORRUPT},
        {"in another user's directory",
         [](auto& p) { EXPECT_EQ(::chown(p.parent_path().c_str(), otherUser, otherUser), 0); }, denied},
        {"no file", [](auto& p) { EXPECT_TRUE(fs::remove(p) && fs::create_directory(p)); }, denied},
    };
    if (::geteuid() != 0)
        GTEST_SKIP() << "giving a file away takes root";
    auto const descriptors = [] { return std::distance(fs::directory_iterator("/proc/self/fd"), {}); };
    auto const open = descriptors();
    for (auto const& [why, damage, expected] : rows) {
        SCOPED_TRACE(why);
        auto const home = profile.file(std::string("home ") + why);
        EnvironmentVariable const variable("WINCRYPT_USER_HOME", home.string());
        fillAndClose(home / "user.db");
        damage(home / "user.db");
        std::string const before = readWhole(home / "user.db");
        EXPECT_EQ(errorOf([] { return openStore("MY"); }), expected);
        EXPECT_EQ(errorOf([] { return openContainer("kept"); }), expected);
        EXPECT_EQ(errorOf([] { return openContainer("new", CRYPT_NEWKEYSET); }), expected);
        EXPECT_TRUE(openContainer(nullptr)) << "which touches no database";
        EXPECT_EQ(readWhole(home / "user.db"), before);
        EXPECT_NE(log().find(home.string()), std::string::npos) << "the log names the file";
        EXPECT_EQ(descriptors(), open);
    }
}

TEST_F(DatabaseFiles, ADamagedEntryIsPassedByAndNamed) {
    for (unsigned number = 1; number <= 3; ++number)
        ASSERT_TRUE(add(openStore("MY"), certificate(number)));
    sql(userDatabase(), "UPDATE certificate SET encoding = x'3000' WHERE id & 255 = 2");
    EXPECT_EQ(all(openStore("MY")), certificates({1, 3}));
    EXPECT_NE(log().find("damaged"), std::string::npos);
}

TEST_F(DatabaseFiles, ModesHoldWhateverTheUmaskIsAndTheUmaskStays) {
    for (mode_t const mask : {0000u, 0777u}) {
        SCOPED_TRACE(mask);
        auto const data = profile.file("data" + std::to_string(mask));
        EnvironmentVariable const noHome("WINCRYPT_USER_HOME", std::nullopt);
        EnvironmentVariable const variable("XDG_DATA_HOME", (data / "deep").string());
        mode_t const former = ::umask(mask);
        bool const added = static_cast<bool>(add(openStore("MY"), certificate(1)));
        newContainer("moded", 512);
        EXPECT_EQ(::umask(former), mask);
        EXPECT_TRUE(added);
        EXPECT_EQ(fs::status(data).permissions(), fs::perms(0700));
        EXPECT_EQ(fs::status(data / "deep" / "wincrypt").permissions(), fs::perms(0700));
        for (auto const& file : fs::directory_iterator(data / "deep" / "wincrypt"))
            EXPECT_EQ(file.status().permissions(), fs::perms(0600)) << file.path();
    }
}

TEST_F(DatabaseFiles, ReadingNeedsNoWriteAccess) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "becoming another user takes root";
    // What another user's home may look like to him: files and directory without write access.
    fillAndClose(userDatabase());
    fs::permissions(profile.directory().path(), fs::perms(0755));
    for (auto const& file : fs::directory_iterator(profile.userHome())) {
        ASSERT_EQ(::chown(file.path().c_str(), otherUser, otherUser), 0);
        fs::permissions(file.path(), fs::perms(0400));
    }
    fs::permissions(profile.userHome(), fs::perms(0555));
    EXPECT_TRUE(inChild(
        [] {
            StoreHandle const store = openStore("MY");
            return all(store) == certificates({1}) && openContainer("kept") &&
                   errorOf([&] { return add(store, certificate(2)); }) == code(E_ACCESSDENIED) &&
                   errorOf([&] { return setFriendlyName(find(store, certificate(1)).get(), L"x"); }) ==
                       code(E_ACCESSDENIED) &&
                   errorOf([] { return openContainer("n", CRYPT_NEWKEYSET); }) == DWORD{ERROR_ACCESS_DENIED};
        },
        otherUser));
    EXPECT_EQ(std::distance(fs::directory_iterator(profile.userHome()), {}), 2) << "no file was left behind";
}

TEST_F(DatabaseFiles, WithoutAHomeDirectoryReadingSaysSo) {
    EnvironmentVariable const noUserHome("WINCRYPT_USER_HOME", std::nullopt);
    EnvironmentVariable const noData("XDG_DATA_HOME", "relative/is/no/home");
    EnvironmentVariable const noHome("HOME", std::nullopt);
    if (::geteuid() != 0)
        GTEST_SKIP() << "becoming an unknown user takes root";
    std::ofstream(profile.file("log")).close();
    fs::permissions(profile.file("log"), fs::perms(0666));
    fs::permissions(profile.directory().path(), fs::perms(0755));
    fs::permissions(profile.machineHome(), fs::perms(0755));
    certificate(1);
    EXPECT_TRUE(inChild(
        [] {
            return openContainer(nullptr) &&
                   errorOf([] { return openStore("MY"); }) == DWORD{ERROR_PATH_NOT_FOUND} &&
                   all(openStore("ROOT")) == readTrustBundle() &&
                   errorOf([] { return add(openStore("CA"), certificate(1)); }) == code(E_ACCESSDENIED);
        },
        otherUser));
    EXPECT_NE(log().find("no home directory"), std::string::npos);
}

TEST_F(DatabaseFiles, OnAReadOnlyFileSystemReadingWorks) {
    fillAndClose(userDatabase());
    auto const mount = [](fs::path const& place, unsigned long flags) {
        return ::mount(place.c_str(), place.c_str(), "none", MS_BIND | flags, nullptr) == 0;
    };
    ASSERT_TRUE(mount(profile.userHome(), 0) && mount(profile.userHome(), MS_REMOUNT | MS_RDONLY))
        << "mounting takes root";
    EXPECT_EQ(all(openStore("MY")), certificates({1}));
    EXPECT_TRUE(openContainer("kept"));
    EXPECT_EQ(errorOf([] { return add(openStore("MY"), certificate(2)); }), code(E_ACCESSDENIED));
    test_support::EnvironmentVariable const other("WINCRYPT_USER_HOME", profile.userHome() / "none");
    EXPECT_EQ(errorOf([] { return add(openStore("MY"), certificate(2)); }), code(E_ACCESSDENIED));
    EXPECT_NE(log().find(profile.userHome() / "none: can't be made: Read-only"), std::string::npos) << log();
    EXPECT_EQ(::umount2(profile.userHome().c_str(), MNT_DETACH), 0);
}

TEST_F(DatabaseFiles, OnANetworkFileSystemTheLogIsOneThatMachinesShare) {
    auto const hasRollbackJournal = [&] { return readWhole(userDatabase())[18] == 1; }; // file format, 1.3.3
    fillAndClose(userDatabase());
    EXPECT_FALSE(hasRollbackJournal());
    saysNetwork = true;
    EXPECT_TRUE(inChild([] { return static_cast<bool>(add(openStore("MY"), certificate(2))); }));
    EXPECT_TRUE(hasRollbackJournal()) << "changed over";
    fs::remove_all(profile.userHome());
    EXPECT_TRUE(inChild([] { return static_cast<bool>(add(openStore("MY"), certificate(3))); }));
    EXPECT_TRUE(hasRollbackJournal()) << "made so";
    EXPECT_EQ(all(openStore("MY")), certificates({3}));
    saysNetwork = false;
}

TEST_F(DatabaseFiles, AFullDiskTakesNoChangeAndHarmsNone) {
    struct Mount {
        explicit Mount(fs::path const& where)
            : place(where), isThere(::mount("none", place.c_str(), "tmpfs", 0, "size=256k,mode=700") == 0) {}
        ~Mount() { isThere&& ::umount2(place.c_str(), MNT_DETACH); }
        fs::path const place;
        bool const isThere;
    };
    Mount const disk(profile.userHome());
    if (!disk.isThere)
        GTEST_SKIP() << "a small disk can't be mounted here: what a full one does was not looked at";
    unsigned added = 0;
    DWORD error = 0;
    while (error == 0 && added < 300)
        error = errorOf([&] { return add(openStore("MY"), certificate(1), CERT_STORE_ADD_ALWAYS); }),
        added += error == 0;
    EXPECT_EQ(error, DWORD{ERROR_DISK_FULL}) << added;
    EXPECT_EQ(all(openStore("MY")), std::vector<Bytes>(added, certificate(1)));
    EXPECT_NE(log().find(userDatabase().string()), std::string::npos);
    EXPECT_EQ(::mount("none", disk.place.c_str(), "tmpfs", MS_REMOUNT, "size=2m"), 0);
    EXPECT_TRUE(add(openStore("MY"), certificate(2))) << "as soon as there is room";
}

TEST_F(DatabaseFiles, BothSidesOfAForkGoOn) {
    StoreHandle const store = openStore("MY");
    ASSERT_TRUE(add(store, certificate(1)));
    ProviderHandle const provider = newContainer("forked", 512);
    HCRYPTHASH hash = 0;
    ASSERT_TRUE(CryptCreateHash(provider.get(), CALG_SHA1, 0, 0, &hash));
    ContextHandle const context = find(store, certificate(1));
    EXPECT_TRUE(inChild([&] {
        BYTE signature[64];
        DWORD size = sizeof signature;
        return CryptSignHashA(hash, AT_KEYEXCHANGE, nullptr, 0, signature, &size) &&
               setFriendlyName(context.get(), L"child") && add(store, certificate(2));
    }));
    EXPECT_EQ(friendlyName(context.get()), L"child");
    EXPECT_EQ(all(store).size(), 2u);
    EXPECT_TRUE(add(store, certificate(3)));
}

TEST_F(DatabaseFiles, ADatabaseThatWasTakenAwayTakesNoChanges) {
    StoreHandle const store = openStore("MY");
    ASSERT_TRUE(add(store, certificate(1)));
    for (char const* name : {"user.db", "user.db-wal", "user.db-shm"})
        fs::remove(profile.userHome() / name);
    EXPECT_EQ(errorOf([&] { return add(store, certificate(2)); }), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_TRUE(add(openStore("MY"), certificate(2))) << "a new handle finds the new state";
}

} // namespace
