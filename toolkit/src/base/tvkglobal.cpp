#include <tvkcore/base/tvkglobal.h>

#include <atomic>
#include <cstring>
#include <new>

namespace {

constinit std::atomic<long> s_instances{0};

} // namespace

void TVKMutex::lock() { mutex_.lock(); }

void TVKMutex::unlock() { mutex_.unlock(); }

TVKCoreGlobal::TVKCoreGlobal() { s_instances.fetch_add(1); }

TVKCoreGlobal::~TVKCoreGlobal() { s_instances.fetch_sub(1); }

long TVKCoreGlobal::getInstanceCount() { return s_instances.load(); }

long tvk_atomic_swap(long* target, long delta) { return std::atomic_ref<long>(*target).fetch_add(delta); }

char* tvk_strdup(char const* text, void* /*reserved*/) {
    if (text == nullptr) {
        return nullptr;
    }
    std::size_t const size = std::strlen(text) + 1;
    char* copy = static_cast<char*>(::operator new(size));
    std::memcpy(copy, text, size);
    return copy;
}
