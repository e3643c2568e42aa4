// The module from many threads, and on both sides of forks that come while other threads are in it.
#include "stress.h"

#include "toolkit/hex.h"

#include <dlfcn.h>

#include <atomic>
#include <thread>

using namespace stress;

namespace {

template <class Made>
std::unique_ptr<Made> owned(Made* made) {
    return std::unique_ptr<Made>(made);
}

TVKBuffer buffer(Bytes const& bytes) { return {static_cast<unsigned>(bytes.size()), bytes.data()}; }

class CountingSink : public TVKTraceSink {
public:
    void record(TVKTraceRecord const& /*record*/) override { ++count; }
    std::atomic<unsigned> count{0};
};

class Module : InMemory, public LayerTest {
protected:
    Module() {
        // First of all: where a host has used libcrypto before the layer, libcrypto goes with the process,
        // under the threads that are still in it.
        openContainer(nullptr, CRYPT_VERIFYCONTEXT);
        certificateOf(0, 0), keyOfAll();
        TVKLibraryManager::loadLibrary(TVKBRIDGE_FILE);
        TVKTrace::s_defaultTracePtr->enable(TVKTrace::allComponents, sink);
    }
    ~Module() override {
        TVKTrace::s_defaultTracePtr->disable();
        TVKLibraryManager::unloadLibrary(TVKBRIDGE_FILE);
    }

    // Never destroyed: threads that the process has left use it when it ends.
    static Bytes const& keyOfAll() {
        static auto const* const key = new Bytes(TestKey::shared(512).privateKeyInfo());
        return *key;
    }

    // What a host does, with objects of its own, from the managers to the deletion. Gives what went wrong, or
    // nothing.
    static std::string use(unsigned thread, unsigned round) try {
        auto const entry = TVKLibraryManager::getLibEntry("tvkbridge");
        if (entry == nullptr)
            return "the module isn't there"; // any more, when the process ends
        auto const capi = owned(static_cast<TVKCAPIManager*>(entry(nullptr)));
        if (owned(capi->duplicate())->getCspNameList()->size() == 0)
            return "no providers";
        auto const store = owned(capi->getCspManager("", 1));
        std::string const label = "person " + std::to_string(thread) + " " + std::to_string(round);
        TVKKRYKey material;
        material.setType(TVKKRYKey::Private);
        material.setAlgorithm(TVKKRYKey::RSA);
        material.setFormat(TVKKRYKey::PrivateKeyInfo);
        material.setKeyBlob(buffer(keyOfAll()));
        TVKKeyCertItem item(
            TVKKeyItem(material, TVKBuffer()),
            TVKCertItem(buffer(certificateOf(thread, round)), buffer(Bytes(label.begin(), label.end()))));
        if (store->insertItem(item) != 1)
            return "not inserted";
        Decoded<TVKASNx509Certificate> certificate(item.getCertificateDER().get());
        TVKASNIssuerAndSerialNumber key(TVKASNNotSecure);
        TVKASNUtility::getIssuerAndSerialNumber(certificate.tbsCertificate.issuer,
                                                certificate.tbsCertificate.serialNumber, key);
        auto const found = owned(store->getItem(KeyCertUniqueIndexIssuerAndSerial, key));
        if (found == nullptr)
            return "not found";
        auto const factory = owned(store->getTVKKRYAlgorithmFactory());
        auto const signer = owned(factory->make_SHA1WithRSA_SignatureAlgorithm(found->getKey()));
        TVKBuffer const data = TVKKRYUtility::generateRandomData(8, nullptr, nullptr);
        TVKBuffer const signature = signer->signData(data.get());
        auto const verifier = owned(factory->make_SHA1WithRSA_VerificationAlgorithm(found->getKey()));
        verifier->verifyData(data.get(), signature.get());
        auto const iterator = owned(store->getKeyCertIterator());
        bool isListed = false;
        while (auto const each = owned(store->getNextKeyCertItem(*iterator))) {
            TVKBuffer const der = each->getCertificateDER();
            isListed = isListed || numbersOf({der.getValue(), der.getValue() + der.getLength()}) ==
                                       std::pair(thread, round);
        }
        if (!isListed)
            return "not listed";
        return store->deleteItem(*found) == 1 ? "" : "not deleted";
    } catch (TVKException const& failure) {
        return std::string(failure.getFile().view()) + ": " + std::string(failure.getMessage().view());
    }

    // Each of what the toolkit keeps for the whole process.
    static void touchWhatAllShare(unsigned round) {
        TVKLibraryManager::addLibEntry("other", &nothing);
        TVKLibraryManager::removeLibEntries(&nothing);
        TVKWideInternTable::holds(TVKWideInternTable::intern(std::wstring(round % 1000, L'x').c_str()));
        if (round % 1000 == 0)
            TVKKRYUtility::setDefaultAlgorithmFactory(TVKKRYUtility::getDefaultAlgorithmFactory());
        TVKTrace::s_defaultTracePtr->write(__FILE__, __LINE__, 1, TVKTrace::entryLevel, "touch");
    }
    static void* nothing(void*) { return nullptr; }

    CountingSink sink;
};

TEST_F(Module, SixteenThreadsEachWithItsObjects) {
    constexpr unsigned threadCount = 16;
    unsigned const rounds = fullOr(1500u, 12u);
    std::vector<std::string> outcomes(threadCount);
    std::vector<std::thread> threads;
    auto const begin = Clock::now();
    for (unsigned thread = 0; thread < threadCount; ++thread)
        threads.emplace_back([&, thread] {
            for (unsigned round = 0; round < rounds && outcomes[thread].empty(); ++round) {
                outcomes[thread] = use(thread, round);
                touchWhatAllShare(round);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(outcomes, std::vector<std::string>(threadCount));
    EXPECT_GT(sink.count, threadCount * rounds);
    EXPECT_TRUE(all(openStore("MY")).empty());
    std::printf("%u threads, %u rounds of list, insert, find, sign, verify, walk, delete each: %.1f s\n",
                threadCount, rounds, std::chrono::duration<double>(Clock::now() - begin).count());
}

#ifndef __SANITIZE_ADDRESS__ // whose allocator a fork leaves locked in the child when another thread is in it
TEST_F(Module, ForksWhileThreadsAreInIt) {
    unsigned const forks = fullOr(1000u, 60u);
    std::atomic<bool> isOver{false};
    std::atomic<unsigned> failures{0};
    std::vector<std::thread> threads;
    for (unsigned thread = 0; thread < 4; ++thread)
        threads.emplace_back([&, thread] {
            for (unsigned round = 0; !isOver; ++round)
                if (thread >= 2)
                    touchWhatAllShare(round);
                else
                    failures += !use(thread, round % 1000).empty();
        });
    int failed = 0;
    for (unsigned i = 0; i < forks && failed == 0; ++i)
        failed += failedChildren(1, [&](int) {
            touchWhatAllShare(0);
            std::string const outcome = use(100, i);
            std::fputs(outcome.c_str(), stderr);
            return outcome.empty();
        });
    isOver = true;
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(failures, 0u);
    std::printf("%u forks while 4 threads were in the module, %d children that failed\n", forks, failed);
}
#endif

TEST_F(Module, AnyThreadMayUnloadItOrEndTheProcess) {
    char const* const rows[] = {"exit in a thread", "unload in a thread and exit", "exit while others go on"};
    for (unsigned row = 0; row < std::size(rows); ++row)
        for (unsigned i = 0; i < fullOr(20u, 3u); ++i) {
            ASSERT_TRUE(inChild([&] {
                std::vector<std::thread> others;
                for (unsigned thread = 0; row == 2 && thread < 2; ++thread)
                    others.emplace_back([thread] {
                        for (unsigned round = 0;; ++round)
                            use(thread, round % 1000);
                    });
                std::thread([&] {
                    bool good = use(200 + row, i).empty();
                    if (row == 1) {
                        TVKLibraryManager::unloadLibrary(TVKBRIDGE_FILE);
                        good = good && ::dlopen(TVKBRIDGE_FILE, RTLD_NOW | RTLD_NOLOAD) == nullptr;
                    }
                    std::exit(good ? 0 : 1);
                }).join();
                return false; // the process has ended by now
            })) << rows[row];
        }
}

} // namespace
