#include <tvkcore/kry/tvkkryutility.h>

#include "systemrandom.h"

#include <tvkcore/base/tvkexception.h>
#include <tvkcore/base/tvkprocessmutex.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

namespace {

constexpr char kFile[] = "./toolkit/src/kry/tvkkryutility";

// Random data from the operating system, which seeds itself: a seed has no effect.
class SystemRandomDataGenAlgorithm : public TVKKRYRandomDataGenAlgorithm {
public:
    TVKBuffer generateRandomData(unsigned int length) override {
        TVKBuffer data(length, nullptr);
        if (!tvk::fillWithSystemRandom(const_cast<unsigned char*>(data.getValue()), length)) {
            throw TVKException(kFile, __LINE__, TVKCORE_NO_RANDOM_DATA, "the system gives no random data");
        }
        return data;
    }

    void updateSeed(TVKASNCBuffer const& /*seed*/) override {}
};

class SystemAlgorithmFactory : public TVKKRYAlgorithmFactory {
public:
    TVKKRYAlgorithmFactory* duplicate() const override { return new SystemAlgorithmFactory; }

    TVKKRYRandomDataGenAlgorithm*
    make_Default_RandomDataGenAlgorithm(TVKASNCBuffer const* /*seed*/) const override {
        return new SystemRandomDataGenAlgorithm;
    }
};

struct Factories {
    TVKProcessMutex mutex;
    std::vector<std::unique_ptr<TVKKRYAlgorithmFactory const>> installed;
    SystemAlgorithmFactory system;
    std::atomic<TVKKRYAlgorithmFactory const*> current{&system};
};

// Never destroyed: references to its factories are about until the process ends.
Factories& factories() {
    static auto* const s_factories = new Factories;
    return *s_factories;
}

} // namespace

TVKKRYAlgorithmFactory const& TVKKRYUtility::getDefaultAlgorithmFactory() {
    return *factories().current.load(std::memory_order_acquire);
}

void TVKKRYUtility::setDefaultAlgorithmFactory(TVKKRYAlgorithmFactory const& factory) {
    std::unique_ptr<TVKKRYAlgorithmFactory const> copy(factory.duplicate());
    if (copy == nullptr) {
        throw TVKException(kFile, __LINE__, TVKCORE_NOT_AVAILABLE, "the factory can't be duplicated");
    }
    std::lock_guard<TVKProcessMutex> const guard(factories().mutex);
    factories().installed.push_back(std::move(copy));
    factories().current.store(factories().installed.back().get(), std::memory_order_release);
}

TVKBuffer TVKKRYUtility::generateRandomData(unsigned int length, TVKASNCBuffer const* seed,
                                            TVKKRYAlgorithmFactory const* factory) {
    TVKKRYAlgorithmFactory const& source = factory == nullptr ? getDefaultAlgorithmFactory() : *factory;
    std::unique_ptr<TVKKRYRandomDataGenAlgorithm> const random(
        source.make_Default_RandomDataGenAlgorithm(seed));
    if (random == nullptr) {
        throw TVKException(kFile, __LINE__, TVKCORE_NO_RANDOM_DATA, "the factory makes no random data");
    }
    TVKBuffer data = random->generateRandomData(length);
    if (data.getLength() != length) {
        throw TVKException(kFile, __LINE__, TVKCORE_NO_RANDOM_DATA,
                           "the factory gave too little random data");
    }
    return data;
}
