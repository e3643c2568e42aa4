// A token that misbehaves: every fault is one clear error, and the next attempt works.
#include "token_fixture.h"

#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <thread>

using namespace layer_test;

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

class TokenFaults : public TokenTest {
protected:
    void SetUp() override {
        tokens.setModule(tokens.faulty);
        makeKey("01", "--mark-decrypt");
    }
    void behave(std::string const& behaviour) const {
        tokens.write("behaviour", behaviour);
        tokens.write("calls", "");
    }
    DWORD liveAndDie() const;
    void waitForCall(std::string const& name = "") const {
        while (tokens.calls(name) == 0)
            std::this_thread::sleep_for(1ms);
    }
};

TEST_F(TokenFaults, PulledOrFailingBetweenAnyTwoCalls) {
    ASSERT_EQ(signWithDefault(), 0u);
    behave("");
    ASSERT_EQ(signWithDefault(), 0u);
    long const all = tokens.calls();
    DWORD const lost = code(SCARD_W_REMOVED_CARD);
    std::pair<std::string, std::vector<DWORD>> const rows[] = {
        // 0: had again within the call
        {"remove N", {lost}},
        {"fail N 30", {0, code(NTE_FAIL)}},                        // CKR_DEVICE_ERROR
        {"fail N 32", {0, lost}},                                  // CKR_DEVICE_REMOVED
        {"fail N B3", {0}},                                        // CKR_SESSION_HANDLE_INVALID
        {"fail N 101", {0, code(SCARD_W_CARD_NOT_AUTHENTICATED)}}, // CKR_USER_NOT_LOGGED_IN
    };
    for (auto const& [pattern, allowed] : rows)
        for (long number = 1; number <= all; ++number) {
            std::string fault = pattern;
            fault.replace(fault.find('N'), 1, std::to_string(number));
            SCOPED_TRACE(fault);
            behave(fault);
            DWORD const error = signWithDefault();
            EXPECT_EQ(std::count(allowed.begin(), allowed.end(), error), 1) << std::hex << error;
            behave("");
            EXPECT_EQ(signWithDefault(), 0u) << "the next attempt";
        }
}

// A key's life: made, given a certificate, used, deleted.
DWORD TokenFaults::liveAndDie() const {
    Bytes const encoding = certificate(1);
    Bytes block(128, 0x5A);
    ProviderHandle provider;
    HCRYPTKEY key = 0;
    DWORD size = 50;
    DWORD error = acquire(provider, label, "brief", CRYPT_NEWKEYSET);
    error = error != 0 ? error : errorOfCall([&] {
        return CryptGenKey(provider.get(), AT_KEYEXCHANGE, 1024u << 16, &key) &&
               CryptSetKeyParam(key, KP_CERTIFICATE, encoding.data(), 0) &&
               CryptEncrypt(key, 0, TRUE, 0, block.data(), &size, 128) &&
               CryptDecrypt(key, 0, TRUE, 0, block.data(), &size) &&
               CryptGetKeyParam(key, KP_CERTIFICATE, nullptr, &size, 0);
    });
    return error != 0 ? error : acquire("brief", CRYPT_DELETEKEYSET);
}

TEST_F(TokenFaults, PulledOrFailingInTheLifeOfAKey) {
    ASSERT_EQ(liveAndDie(), 0u);
    behave("");
    ASSERT_EQ(liveAndDie(), 0u);
    long const all = tokens.calls();
    std::string const before = tokens.tool(label, {"pkcs11-tool", "--list-objects"});
    std::set<DWORD> const clear{code(SCARD_W_REMOVED_CARD), code(NTE_FAIL)};
    // The value is CKR_DEVICE_ERROR; a key takes its time to be made, so there are strides.
    for (auto const& [fault, value, stride] : {std::tuple("remove ", "", 9L), {"fail ", " 30", 5L}})
        for (long number = 1; number <= all; number += stride) {
            SCOPED_TRACE(fault + std::to_string(number));
            behave(fault + std::to_string(number) + value);
            DWORD const error = liveAndDie();
            EXPECT_TRUE(error == 0 || clear.count(error) != 0) << std::hex << error;
            behave("");
            DWORD const left = acquire("brief", CRYPT_DELETEKEYSET);
            EXPECT_TRUE(left == 0 || left == code(NTE_BAD_KEYSET)) << std::hex << left;
            EXPECT_EQ(liveAndDie(), 0u) << "the next attempt";
        }
    EXPECT_EQ(tokens.tool(label, {"pkcs11-tool", "--list-objects"}), before) << "nothing is left";
}

TEST_F(TokenFaults, ThePinIsAskedOnceAndNeverTriedAgainWhenWrong) {
    // Behaviour, PIN, flags, error, logins in all in this row.
    std::tuple<char const*, char const*, char const*, DWORD, DWORD, long> const rows[] = {
        {"asked once for both signatures", "one-session", "12345678", 0, 0, 1},
        {"typed at the token", "keypad", "", 0, 0, 1},
        {"which is asking a person", "keypad", "", CRYPT_SILENT, code(NTE_SILENT_CONTEXT), 0},
        {"no PIN", "", "", 0, code(SCARD_W_CARD_NOT_AUTHENTICATED), 0},
        {"wrong, and tried once", "", "00000000", 0, code(SCARD_W_WRONG_CHV), 1},
        {"another wrong one", "", "00000001", 0, code(SCARD_W_WRONG_CHV), 1},
        {"the last try is left to a person", "", "12345678", 0, code(SCARD_W_CARD_NOT_AUTHENTICATED), 0},
    };
    for (auto const& [why, behaviour, pin, flags, expected, logins] : rows) {
        SCOPED_TRACE(why);
        tokens.write("pin", pin);
        EXPECT_TRUE(inChild([&, &how = behaviour, &with = flags, &error = expected, &count = logins] {
            behave(how);
            return signWithDefault(with) == error && signWithDefault(with) == error &&
                   tokens.calls("C_Login") == count;
        })) << tokens.calls("C_Login");
    }
}

TEST_F(TokenFaults, AKeyMayWantThePinEachTime) {
    tokens.tool(label, {"pkcs11-tool", "--keypairgen", "--key-type", "rsa:1024", "--id", "00", "--label",
                        "card", "--always-auth"});
    behave("one-session");
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(signWithDefault(), 0u);
    EXPECT_EQ(tokens.calls("C_Login"), 3) << "to the token once, and for each signature";
}

TEST_F(TokenFaults, APersonIsAskedAtTheTerminal) {
    EnvironmentVariable const source("WINCRYPT_PIN_SOURCE", "ask");
    EXPECT_EQ(signWithDefault(CRYPT_SILENT), code(NTE_SILENT_CONTEXT));
    std::pair<std::string, DWORD> const rows[] = {{"00000000\n", code(SCARD_W_WRONG_CHV)},
                                                  {"\x03", code(SCARD_W_CANCELLED_BY_USER)},
                                                  {"12345678\n", 0}};
    for (auto const& [typed, expected] : rows) {
        SCOPED_TRACE(typed);
        int terminal = -1;
        pid_t const child = ::forkpty(&terminal, nullptr, nullptr, nullptr);
        if (child == 0) {
            ::signal(SIGINT, SIG_IGN); // the host goes on
            bool const good = signWithDefault() == expected;
            ::_exit(good && (expected != 0 || signWithDefault() == 0) ? 0 : 1);
        }
        std::string shown;
        char part[256];
        bool answered = false;
        for (ssize_t count; (count = ::read(terminal, part, sizeof part)) > 0;) {
            shown.append(part, static_cast<std::size_t>(count));
            if (!answered && shown.find(": ") != std::string::npos)
                answered = ::write(terminal, typed.data(), typed.size()) > 0;
        }
        int status = -1;
        EXPECT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0) << shown;
        EXPECT_EQ(shown.find(typed.substr(0, 8)), std::string::npos) << "what is typed isn't shown";
        termios settings{};
        EXPECT_EQ(::tcgetattr(terminal, &settings), 0);
        EXPECT_NE(settings.c_lflag & ECHO, 0u) << "what is typed afterwards is";
        ::close(terminal);
    }
}

TEST_F(TokenFaults, ATokenThatBlocksHoldsNothingUp) {
    ASSERT_EQ(signWithDefault(), 0u);
    EnvironmentVariable const limit("WINCRYPT_TOKEN_TIMEOUT", "1.5");
    for (char const* fault : {"block C_Sign 60", "block C_FindObjectsInit 60"}) {
        behave(fault);
        std::atomic<bool> ended{false};
        auto const began = Clock::now();
        std::thread blocked([&] {
            EXPECT_EQ(signWithDefault(), code(SCARD_E_TIMEOUT));
            ended = true;
        });
        waitForCall();
        EXPECT_TRUE(newContainer("own", 512));
        EXPECT_FALSE(openContainer("own", CRYPT_DELETEKEYSET));
        EXPECT_TRUE(openStore("MY"));
        EXPECT_TRUE(inChild([&] { return static_cast<bool>(openContainer(nullptr)); })) << "a fork";
        EXPECT_FALSE(ended);
        blocked.join();
        EXPECT_LT(Clock::now() - began, 4s);
        behave("");
        EXPECT_EQ(signWithDefault(), 0u);
    }
}

TEST_F(TokenFaults, AProcessEndsWithAThreadInItsCall) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto const end = [&] {
        behave("block C_Sign 60");
        std::thread([&] { signWithDefault(); }).detach();
        waitForCall("C_Sign");
        std::filesystem::remove_all(profile.directory().path());
        ::alarm(5);
        std::exit(0);
    };
    EXPECT_EXIT(end(), testing::ExitedWithCode(0), "");
}

TEST_F(TokenFaults, AModuleThatIsSlowToStartIsNotWaitedFor) {
    EnvironmentVariable const limit("WINCRYPT_TOKEN_DISCOVERY_TIMEOUT", "0.5");
    behave("block C_Initialize 2");
    auto const began = Clock::now();
    EXPECT_TRUE(openContainer(nullptr));
    EXPECT_LT(Clock::now() - began, 200ms) << "the software provider doesn't look for tokens";
    DWORD type = 0;
    DWORD size = 0;
    EXPECT_TRUE(CryptEnumProvidersA(0, nullptr, 0, &type, nullptr, &size));
    EXPECT_EQ(acquire(nullptr), code(NTE_KEYSET_NOT_DEF));
    EXPECT_LT(Clock::now() - began, 1900ms);
    std::this_thread::sleep_for(2s);
    EXPECT_EQ(signWithDefault(), 0u) << "it is there now";
}

TEST_F(TokenFaults, BothSidesOfAForkGoOn) {
    ProviderHandle provider;
    ASSERT_EQ(acquire(provider, label), 0u);
    ASSERT_EQ(sign(provider), 0u);
    tokens.write("pin", "gone"); // what was asked for once is known on both sides
    std::atomic<bool> forking{true};
    std::atomic<int> failed{0};
    std::thread signing([&] {
        while (forking)
            failed += sign(provider) != 0;
    });
    for (int round = 0; round < 8; ++round)
        EXPECT_TRUE(inChild([&] { return sign(provider) == 0 && signWithDefault() == 0; }));
    forking = false;
    signing.join();
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(sign(provider), 0u);
}

} // namespace
