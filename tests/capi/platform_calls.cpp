#include "platform_calls.h"

#include "support/platform_call_table.h"

#include <dlfcn.h>

#include <cstdint>
#include <sstream>
#include <tuple>
#include <type_traits>
#include <utility>

namespace capi_tests {

namespace {

thread_local bool t_isInside = false;
thread_local PCRYPT_RESOLVE_HCRYPTPROV_FUNC t_resolve = nullptr;

// Sets where the thread's calls come from, while it lives.
class Inside {
public:
    explicit Inside(bool isInside) : m_before(std::exchange(t_isInside, isInside)) {}
    ~Inside() { t_isInside = m_before; }

private:
    bool m_before;
};

// The layer's question to the module during an import.
BOOL CALLBACK resolveOutside(CRYPT_PRIVATE_KEY_INFO* info, HCRYPTPROV* provider, LPVOID context) {
    Inside const outside(false);
    return t_resolve(info, provider, context);
}

// Frees the argument that a call frees whatever happens.
template <typename Argument>
void freeTaken(PlatformCalls::AnyCall call, Argument argument) {
    if constexpr (std::is_same_v<Argument, PCCERT_CONTEXT>) {
        bool const takes = call == PlatformCalls::keyOf(CertFindCertificateInStore) ||
                           call == PlatformCalls::keyOf(CertEnumCertificatesInStore) ||
                           call == PlatformCalls::keyOf(CertDeleteCertificateFromStore);
        if (takes && argument != nullptr)
            CertFreeCertificateContext(argument);
    }
}

template <typename Value>
std::string shown(Value value) {
    std::ostringstream text;
    if constexpr (std::is_same_v<Value, char const*>) {
        // A store provider is a small number in the place of a text.
        auto const number = reinterpret_cast<std::uintptr_t>(value);
        number < 0x10000 ? text << std::hex << number : text << '"' << value << '"';
    } else if constexpr (std::is_pointer_v<Value> || std::is_same_v<Value, ULONG_PTR>) {
        text << (value == Value{} ? "0" : "set");
    } else if constexpr (std::is_class_v<Value>) {
        text << "set";
    } else {
        text << std::hex << +value;
    }
    return text.str();
}

template <auto Call, typename... Arguments>
auto pass(char const* name, Arguments... arguments) {
    static auto* const real = reinterpret_cast<decltype(Call)>(dlsym(RTLD_NEXT, name));
    if (t_isInside)
        return real(arguments...);
    Inside const inside(true);
    std::any* const answer =
        PlatformCalls::instance().note(PlatformCalls::keyOf(Call), name, {shown(arguments)...});
    if (long const* error = std::any_cast<long>(answer)) {
        (freeTaken(PlatformCalls::keyOf(Call), arguments), ...);
        SetLastError(static_cast<DWORD>(*error));
        return decltype(Call(arguments...)){};
    }
    using Answer = std::function<decltype(Call(arguments...))(Arguments...)>;
    return answer == nullptr ? real(arguments...) : std::any_cast<Answer&>(*answer)(arguments...);
}

} // namespace

PlatformCalls& PlatformCalls::instance() {
    static PlatformCalls s_calls;
    return s_calls;
}

void PlatformCalls::forget() {
    m_names.clear();
    m_arguments.clear();
}

void PlatformCalls::reset() {
    forget();
    m_rules.clear();
    m_untilFailure = 0;
}

void PlatformCalls::failNumber(unsigned number, long error) {
    m_untilFailure = number;
    m_failure = error;
    m_failed.clear();
}

std::any* PlatformCalls::failureOf(std::string const& name) {
    bool const releases = name.find("Free") != name.npos || name.find("Destroy") != name.npos ||
                          name.find("Release") != name.npos || name.find("Close") != name.npos;
    if (m_untilFailure == 0 || releases || --m_untilFailure != 0)
        return nullptr;
    m_failed = name;
    return &m_failure;
}

std::any* PlatformCalls::note(AnyCall call, char const* name, std::vector<std::string> const& arguments) {
    std::string text;
    for (std::string const& argument : arguments)
        text += (text.empty() ? "" : ", ") + argument;
    m_names.emplace_back(name);
    m_arguments[call].push_back(text);
    auto const rule = m_rules.find(call);
    if (rule == m_rules.end())
        return failureOf(name);
    auto& [nth, seen, answer] = rule->second;
    return ++seen == nth || nth == 0 ? &answer : nullptr;
}

} // namespace capi_tests

using capi_tests::pass;
FOR_EACH_PLATFORM_CALL(DEFINE_PLATFORM_CALL)

BOOL CryptImportPKCS8(CRYPT_PKCS8_IMPORT_PARAMS parameters, DWORD flags, HCRYPTPROV* provider, void* info) {
    capi_tests::t_resolve = std::exchange(parameters.pResolvehCryptProvFunc, capi_tests::resolveOutside);
    return capi_tests::pass<&CryptImportPKCS8>("CryptImportPKCS8", parameters, flags, provider, info);
}
