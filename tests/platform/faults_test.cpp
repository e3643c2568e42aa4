// Many threads and processes at once, files that somebody else had in hand, entries that somebody edited.
#include "layer_fixture.h"

#include <sys/stat.h>
#include <unistd.h>

#include <openssl/crypto.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <thread>

using namespace layer_test;

namespace {

namespace fs = std::filesystem;
using Faults = LayerTest;

constexpr uid_t otherUser = 54321;

void give(fs::path const& file) {
    ASSERT_EQ(::chown(file.c_str(), otherUser, otherUser), 0) << "giving files away takes root";
}

void makeRandom() {
    BYTE octets[16];
    CryptGenRandom(openContainer(nullptr, CRYPT_VERIFYCONTEXT).get(), sizeof octets, octets);
}

bool listName(HCRYPTPROV provider, DWORD flags) {
    BYTE name[64];
    DWORD length = sizeof name;
    return CryptGetProvParam(provider, PP_ENUMCONTAINERS, name, &length, flags) != FALSE;
}

TEST_F(Faults, ForksWhileOtherThreadsAreInCallsAndContainersComeAndGo) {
    ProviderHandle const provider = newContainer("one", 512);
    auto const calls = [&](int thread) {
        bool const isGood = thread != 3 || openContainer("passing", CRYPT_NEWKEYSET);
        makeRandom();
        openContainer("passing", thread == 3 ? CRYPT_DELETEKEYSET : 0);
        return isGood && listName(provider.get(), CRYPT_FIRST) && sign(openContainer("one")) == 0;
    };
    std::atomic<int> forking{2};
    std::atomic<int> failed{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) // two of them fork at once
        threads.emplace_back([&, i] {
            for (int round = 0; i < 2 ? round < 15 : forking > 0; ++round)
                failed += i < 2 ? failedChildren(1, calls) : !calls(i);
            forking -= i < 2;
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(failed, 0);
}

TEST_F(Faults, ManyProcessesMayMakeTheDatabaseAtOnce) {
    certificate(1);
    auto const child = [](int number) {
        if (number % 2 == 0)
            return static_cast<bool>(add(openStore("MY"), certificate(1), CERT_STORE_ADD_ALWAYS));
        int good = 0;
        while (good < 40 && openStore("MY"))
            ++good;
        return good == 40;
    };
    for (int round = 0; round < 20; ++round, fs::remove_all(profile.userHome()))
        EXPECT_EQ(failedChildren(8, child), 0);
}

// Ends the process while threads are inside libcrypto; the last handler tells by the status whether the
// database is whole without a log.
[[noreturn]] void endAmongCalls(fs::path const& home) {
    static fs::path const scratch = home;
    std::atexit([] {
        std::error_code none;
        bool const whole = fs::file_size(scratch / "user/user.db-wal", none) == 0;
        fs::remove_all(scratch);
        if (!whole)
            ::_exit(3);
    });
    openContainer("made", CRYPT_NEWKEYSET);
    for (int i = 0; i < 3; ++i)
        std::thread([] {
            for (;;)
                makeRandom();
        }).detach();
    ::usleep(5000);
    std::exit(0);
}

TEST_F(Faults, TheEndOfAProcess) {
    // A program of its own each time, in which nothing uses libcrypto before the layer.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (int round = 0; round < 6; ++round)
        EXPECT_EXIT(endAmongCalls(profile.directory().path()), testing::ExitedWithCode(0), "");
}

// Of libcrypto's allocations, but for those of its arithmetic, the one that fails.
long untilFailure = 0;

bool isFailing(char const* file) {
    return file != nullptr && std::strstr(file, "/bn/") == nullptr && --untilFailure == 0;
}

[[noreturn]] void generateWithoutMemory() {
    bool const isSet = CRYPTO_set_mem_functions(
        [](std::size_t size, char const* file, int) { return isFailing(file) ? nullptr : std::malloc(size); },
        [](void* memory, std::size_t size, char const* file, int) {
            return isFailing(file) ? nullptr : std::realloc(memory, size);
        },
        [](void* memory, char const*, int) { std::free(memory); });
    if (!isSet)
        std::exit(2);
    ProviderHandle const provider = newContainer("short of memory", 512);
    for (long number = 1;; ++number) {
        HCRYPTKEY key = 0;
        untilFailure = number;
        DWORD const error = errorOf(CryptGenKey, provider.get(), ALG_ID{AT_KEYEXCHANGE}, 512u << 16, &key);
        bool const hasFailed = untilFailure <= 0;
        untilFailure = 0;
        bool const isGood = error == ERROR_SUCCESS ? sign(provider) == 0 : error != ERROR_INTERNAL_ERROR;
        if (!isGood) {
            std::fprintf(stderr, "allocation %ld: error %#x\n", number, unsigned{error});
            std::exit(3);
        }
        if (!hasFailed)
            std::exit(number > 20 ? 0 : 4);
    }
}

TEST_F(Faults, AKeyThatMemoryRunsOutForIsNotMade) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(generateWithoutMemory(), testing::ExitedWithCode(0), "");
}

TEST_F(Faults, ASearchMayGoOnByWhatTheFormerOneGave) {
    StoreHandle const store = memoryStore();
    CertificateFields longer; // lies differently in the memory that the first one left
    longer.subject = commonName("Person 1");
    longer.serial = Bytes(19, 0x11);
    for (Bytes const& each : {certificate(1), certificate(2), makeCertificate(longer, TestKey::shared())})
        add(store, each);
    PCCERT_CONTEXT first = CertEnumCertificatesInStore(store.get(), nullptr);
    EXPECT_TRUE(ContextHandle(CertFindCertificateInStore(
        store.get(), X509_ASN_ENCODING, 0, CERT_FIND_SUBJECT_NAME, &first->pCertInfo->Subject, first)));
}

TEST_F(Faults, KeyFilesThatAreNotTrusted) {
    fs::path const key = profile.userHome() / "sealing.key";
    std::ofstream(profile.file("k")) << std::string(32, 'x');
    fs::permissions(profile.file("k"), fs::perms(0600));
    std::pair<char const*, std::function<void()>> const rows[] = {
        {"of another user", [&] { fs::copy(profile.file("k"), key), give(key); }},
        {"readable by others",
         [&] { fs::copy(profile.file("k"), key), fs::permissions(key, fs::perms(0640)); }},
        {"behind a link", [&] { fs::create_symlink(profile.file("k"), key); }},
        {"a pipe", [&] { EXPECT_EQ(::mkfifo(key.c_str(), 0600), 0); }},
        {"in a directory for all", [&] { fs::permissions(profile.userHome(), fs::perms(01777)); }},
    };
    auto const refused = [](int) {
        HCRYPTKEY made = 0;
        return errorOf(CryptGenKey, openContainer(nullptr).get(), ALG_ID{AT_KEYEXCHANGE}, 512u << 16,
                       &made) == DWORD{ERROR_ACCESS_DENIED};
    };
    for (auto const& [why, make] : rows) {
        if (&make == &rows[0].second && ::geteuid() != 0)
            continue; // giving a file away takes root
        make();
        EXPECT_EQ(failedChildren(1, refused), 0) << why;
        fs::remove(key);
    }
}

TEST_F(Faults, ADatabaseThatCannotBeWritten) {
    auto const added = [](int number) {
        return static_cast<bool>(add(openStore("MY"), certificate(number + 1u)));
    };
    certificate(1), certificate(2);
    failedChildren(1, added);
    sql(userDatabase(), "PRAGMA wal_checkpoint(TRUNCATE)");
    fs::permissions(profile.directory().path(), fs::perms(0755));
    // Modes don't hold back root.
    bool const isRoot = ::geteuid() == 0;
    uid_t const user = isRoot ? otherUser : 0;
    if (isRoot)
        give(profile.userHome()), give(userDatabase());
    auto const withMode = [&](unsigned mode) {
        return fs::permissions(userDatabase(), fs::perms(mode)), added(1);
    };
    EXPECT_TRUE(inChild([&] { return !withMode(0400) && withMode(0600); }, user)) << "as soon as it may";
    if (!isRoot)
        return; // the log files are this user's own, so the ordinary opening for reading works
    std::ofstream(userDatabase() += "-journal") << "hot";
    fs::permissions(profile.userHome(), fs::perms(0500));
    EXPECT_TRUE(inChild([] { return errorOf([] { return openStore("MY"); }) == ERROR_ACCESS_DENIED; }, user))
        << "a change that was cut off isn't shown as if it were whole";
}

TEST_F(Faults, EntriesThatWereEdited) {
    ProviderHandle const provider = newContainer("a", 512);
    HCRYPTKEY key = 0;
    ASSERT_TRUE(CryptGenKey(provider.get(), AT_SIGNATURE, 512u << 16, &key));
    newContainer("much longer", 512);
    sql(userDatabase(),
        "UPDATE key SET sealed = x'00' WHERE slot = 2; INSERT INTO container(name) VALUES(x'7a');"
        "INSERT INTO key SELECT container, 3, 0, x'', x'', x'', x'' FROM key WHERE slot = 2");
    EXPECT_EQ(errorOf(CryptGetUserKey, provider.get(), 2u, &key), code(NTE_KEYSET_ENTRY_BAD));
    EXPECT_NE(userKey(openContainer("a")), 0u) << "the other key of it";
    int names = 0;
    while (names < 9 && listName(provider.get(), CRYPT_NEXT))
        ++names;
    EXPECT_EQ(names, 2);
    openContainer("a", CRYPT_DELETEKEYSET);
    EXPECT_EQ(errorOf(openContainer, "a", DWORD{0}), code(NTE_BAD_KEYSET));
}

} // namespace
