// What other stores need for the same work, through their PKCS#11 modules, when they are installed: the same
// key, the same certificates and as many. The user is logged in before the clock starts. A module that isn't
// installed leaves its column empty.

#include "support/child_process.h"
#include "support/libcrypto.h"
#include "support/timing.h"
#include "support/token.h"
#include "support/work_directory.h"

#include <openssl/core_names.h>

#include <deque>
#include <stdexcept>

namespace {

namespace fs = std::filesystem;
using bench::Attributes;
using bench::Bytes;

constexpr unsigned keyCount = 100;
constexpr unsigned certificateCount = 100;
constexpr std::uint32_t firstNumber = 1'000'000;

Bytes const message(32, 'm');

bench::CertificateSeries const& series() {
    static bench::CertificateSeries const made;
    return made;
}

std::string keyName(unsigned number) { return "key " + std::to_string(number); }

// ---- The tokens, made once ----

Bytes numberOf(EVP_PKEY* key, char const* name) {
    BIGNUM* number = nullptr;
    bench::requireCrypto(EVP_PKEY_get_bn_param(key, name, &number) == 1, name);
    Bytes bytes(static_cast<std::size_t>(BN_num_bytes(number)));
    BN_bn2bin(number, bytes.data());
    BN_clear_free(number);
    return bytes;
}

Attributes rsaObject(CK_OBJECT_CLASS kind, EVP_PKEY* key, std::string const& name) {
    Attributes attributes;
    attributes.add(CKA_CLASS, kind)
        .add(CKA_KEY_TYPE, CKK_RSA)
        .addFlag(CKA_TOKEN, true)
        .add(CKA_LABEL, name)
        .add(CKA_ID, name)
        .add(CKA_MODULUS, numberOf(key, OSSL_PKEY_PARAM_RSA_N))
        .add(CKA_PUBLIC_EXPONENT, numberOf(key, OSSL_PKEY_PARAM_RSA_E));
    return attributes;
}

Attributes privateObject(EVP_PKEY* key, std::string const& name) {
    Attributes attributes = rsaObject(CKO_PRIVATE_KEY, key, name);
    attributes.addFlag(CKA_PRIVATE, true)
        .addFlag(CKA_SENSITIVE, true)
        .addFlag(CKA_SIGN, true)
        .add(CKA_PRIVATE_EXPONENT, numberOf(key, OSSL_PKEY_PARAM_RSA_D))
        .add(CKA_PRIME_1, numberOf(key, OSSL_PKEY_PARAM_RSA_FACTOR1))
        .add(CKA_PRIME_2, numberOf(key, OSSL_PKEY_PARAM_RSA_FACTOR2))
        .add(CKA_EXPONENT_1, numberOf(key, OSSL_PKEY_PARAM_RSA_EXPONENT1))
        .add(CKA_EXPONENT_2, numberOf(key, OSSL_PKEY_PARAM_RSA_EXPONENT2))
        .add(CKA_COEFFICIENT, numberOf(key, OSSL_PKEY_PARAM_RSA_COEFFICIENT1));
    return attributes;
}

fs::path directoryOf(std::string const& name, std::string const& what) {
    return bench::workDirectory() / ("token-" + name + '-' + what);
}

fs::path tokenWithKeys(std::string const& name, unsigned count) {
    fs::path const directory = directoryOf(name, "keys-" + std::to_string(count));
    if (!fs::exists(directory)) {
        bench::Crypto<EVP_PKEY> const key = bench::readKey(bench::keyFile());
        bench::Token const token(name, directory);
        bench::TokenSession session(token);
        session.logIn();
        for (unsigned number = 0; number < count; ++number) {
            session.create(privateObject(key.get(), keyName(number)));
        }
        session.create(rsaObject(CKO_PUBLIC_KEY, key.get(), keyName(count / 2))
                           .addFlag(CKA_PRIVATE, false)
                           .addFlag(CKA_VERIFY, true));
    }
    return directory;
}

fs::path tokenWithCertificates(std::string const& name) {
    fs::path const directory = directoryOf(name, "certificates");
    if (!fs::exists(directory)) {
        bench::Token const token(name, directory);
        bench::TokenSession session(token);
        session.logIn();
        for (std::uint32_t number = 1; number <= certificateCount; ++number) {
            session.create(bench::certificateObject(series().certificate(number), number));
        }
    }
    return directory;
}

// ---- What is measured ----

template <class Body>
std::vector<double> timesOf(unsigned count, Body&& body) {
    std::vector<double> times;
    for (unsigned turn = 0; turn < count; ++turn) {
        bench::Clock::time_point const start = bench::Clock::now();
        body(turn);
        times.push_back(bench::secondsSince(start));
    }
    return times;
}

class Measuring {
public:
    Measuring(benchmark::State& state, std::string name) : state_(state), name_(std::move(name)) {}

    void keys() {
        for (unsigned const count : {1U, keyCount}) {
            bench::Token const token(name_, tokenWithKeys(name_, count));
            state_.SetLabel(name_ + ' ' + token.version());
            bench::TokenSession user(token);
            user.logIn();
            auto times = timesOf(101, [&](unsigned) { findAndSign(token, keyName(count / 2)); });
            tell("sign/" + std::to_string(count), bench::medianOf(times));
            if (count == 1) {
                openKeys(user);
            }
        }
    }

    void changes() {
        bench::Token const token(name_, tokenWithCertificates(name_));
        bench::TokenSession session(token);
        session.logIn();
        constexpr unsigned count = 50;
        std::vector<Attributes> certificates;
        for (std::uint32_t number = firstNumber; number < firstNumber + count; ++number) {
            certificates.push_back(bench::certificateObject(series().certificate(number), number));
        }
        std::vector<CK_OBJECT_HANDLE> made(count);
        // As in the durable changes of our own: rare expensive ones are part of the work.
        tell("insert", bench::meanOf(timesOf(
                           count, [&](unsigned turn) { made[turn] = session.create(certificates[turn]); })));
        tell("delete", bench::meanOf(timesOf(count, [&](unsigned turn) { session.destroy(made[turn]); })));
    }

    void processes() {
        constexpr unsigned processCount = 8;
        constexpr unsigned insertsEach = 50;
        fs::path const directory = directoryOf(name_, "processes");
        fs::copy(tokenWithCertificates(name_), directory, fs::copy_options::recursive);
        fs::remove(directory / "softhsm.conf"); // it names the original
        { bench::Token const entered(name_, directory); }
        std::deque<bench::ChildProcess> children;
        for (unsigned number = 0; number < processCount; ++number) {
            std::vector<std::string> const arguments = {
                bench::siblingProgram("bench_token_inserting_process"), name_, directory,
                std::to_string(firstNumber + number * insertsEach), std::to_string(insertsEach)};
            // One after the other: not all of them bear being opened by several at once.
            children.emplace_back(arguments).read(1);
        }
        bench::Clock::time_point const start = bench::Clock::now();
        for (bench::ChildProcess& child : children) {
            child.closeInput();
        }
        for (bench::ChildProcess& child : children) {
            child.wait();
        }
        tell("processes", bench::secondsSince(start));
        {
            bench::Token const token(name_, directory);
            bench::TokenSession session(token);
            Attributes wanted;
            wanted.add(CKA_CLASS, CKO_CERTIFICATE);
            tell("processes stored", static_cast<double>(session.find(wanted).size()) - certificateCount);
        }
        fs::remove_all(directory);
    }

private:
    void tell(std::string const& what, double figure) {
        state_.counters["tokens/" + name_ + '/' + what] = figure;
    }

    static void findAndSign(bench::Token const& token, std::string const& name) {
        bench::TokenSession session(token);
        Attributes wanted;
        wanted.add(CKA_CLASS, CKO_PRIVATE_KEY).add(CKA_LABEL, name);
        std::vector<CK_OBJECT_HANDLE> const found = session.find(wanted);
        if (found.size() != 1) {
            throw std::runtime_error("the token doesn't hold the key");
        }
        session.sign(found.front(), message);
    }

    // With keys that were found before.
    void openKeys(bench::TokenSession& session) {
        Attributes wantedPrivate;
        Attributes wantedPublic;
        CK_OBJECT_HANDLE const key = session.find(wantedPrivate.add(CKA_CLASS, CKO_PRIVATE_KEY)).at(0);
        CK_OBJECT_HANDLE const publicKey = session.find(wantedPublic.add(CKA_CLASS, CKO_PUBLIC_KEY)).at(0);
        Bytes const signature = session.sign(key, message);
        auto signing = timesOf(101, [&](unsigned) { session.sign(key, message); });
        tell("sign open", bench::medianOf(signing));
        auto verifying = timesOf(501, [&](unsigned) { session.verify(publicKey, message, signature); });
        tell("verify", bench::medianOf(verifying));
    }

    benchmark::State& state_;
    std::string name_;
};

void measure(benchmark::State& state, char const* name) {
    while (state.KeepRunning()) {
        if (bench::Token::isInstalled(name)) {
            Measuring measuring(state, name);
            measuring.keys();
            measuring.changes();
            measuring.processes();
        }
    }
}
BENCHMARK_CAPTURE(measure, SoftHSM, "SoftHSM")->UseRealTime()->Iterations(1)->Repetitions(3);
BENCHMARK_CAPTURE(measure, NSS, "NSS")->UseRealTime()->Iterations(1)->Repetitions(3);

} // namespace
