// A PKCS#11 module that passes the calls on to SoftHSM and misbehaves on request. The folder FAULTY_TOKEN
// holds the calls that were made ("calls", one a line), the wrong PINs since the last right one ("wrong",
// likewise) and what to do ("behaviour", one a line):
//   remove N           the token is pulled before the N-th call and stays away
//   fail N VALUE       the N-th call fails with VALUE
//   block CALL SECONDS each such call takes so long
//   one-session, keypad
#include <p11-kit/pkcs11.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <dlfcn.h>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

CK_FUNCTION_LIST* real = nullptr;
CK_FUNCTION_LIST hooked;

std::string file(std::string const& name) { return std::string(std::getenv("FAULTY_TOKEN")) + '/' + name; }

long lines(std::string const& name) {
    std::ifstream input(file(name));
    return static_cast<long>(std::count(std::istreambuf_iterator<char>(input), {}, '\n'));
}

// The line that begins with this word, word by word; none when there is none.
std::vector<std::string> behaviour(std::string const& wanted) {
    std::ifstream input(file("behaviour"));
    for (std::string line; std::getline(input, line);) {
        std::istringstream words(line);
        std::vector<std::string> all{std::istream_iterator<std::string>(words), {}};
        if (!all.empty() && all.front() == wanted)
            return all;
    }
    return {};
}

CK_RV enter(std::string const& call) {
    std::ofstream(file("calls"), std::ios::app) << call << '\n';
    if (auto const words = behaviour("block"); !words.empty() && words.at(1) == call)
        std::this_thread::sleep_for(std::chrono::seconds(std::stoi(words.at(2))));
    long const number = lines("calls");
    if (auto const words = behaviour("remove"); !words.empty() && number >= std::stol(words.at(1)))
        return CKR_DEVICE_REMOVED;
    auto const words = behaviour("fail");
    return !words.empty() && number == std::stol(words.at(1)) ? std::stoul(words.at(2), nullptr, 16) : CKR_OK;
}

constexpr CK_ULONG tries = 3;
constexpr char rightPin[] = "12345678";
int sessions = 0;

template <auto Call, class Function>
struct Hook;

template <auto Call, class... Arguments>
struct Hook<Call, CK_RV (*CK_FUNCTION_LIST::*)(Arguments...)> {
    static inline char const* name = nullptr;
    static CK_RV run(Arguments... arguments) {
        CK_RV const refused = enter(name);
        return refused != CKR_OK ? refused : (real->*Call)(arguments...);
    }
};

template <auto Call>
void hook(char const* name) {
    using OfCall = Hook<Call, decltype(Call)>;
    OfCall::name = name;
    hooked.*Call = OfCall::run;
}

template <auto Call, class... Arguments>
CK_RV pass(Arguments... arguments) {
    return Hook<Call, decltype(Call)>::run(arguments...);
}

CK_RV getTokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO* info) {
    CK_RV const result = pass<&CK_FUNCTION_LIST::C_GetTokenInfo>(slot, info);
    auto const left = tries - std::min(tries, static_cast<CK_ULONG>(lines("wrong")));
    info->flags |= left == 0 ? CKF_USER_PIN_LOCKED : left == 1 ? CKF_USER_PIN_FINAL_TRY : 0UL;
    info->flags |= behaviour("keypad").empty() ? 0UL : CKF_PROTECTED_AUTHENTICATION_PATH;
    return result;
}

CK_RV openSession(CK_SLOT_ID slot, CK_FLAGS flags, void* own, CK_NOTIFY notify, CK_SESSION_HANDLE* session) {
    if (!behaviour("one-session").empty() && sessions > 0)
        return CKR_SESSION_COUNT;
    CK_RV const result = pass<&CK_FUNCTION_LIST::C_OpenSession>(slot, flags, own, notify, session);
    sessions += result == CKR_OK;
    return result;
}

CK_RV closeSession(CK_SESSION_HANDLE session) {
    --sessions;
    return pass<&CK_FUNCTION_LIST::C_CloseSession>(session);
}

CK_RV login(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_BYTE* pin, CK_ULONG size) {
    std::string typed(rightPin);
    bool const atKeypad = pin == nullptr && !behaviour("keypad").empty();
    CK_RV const result = pass<&CK_FUNCTION_LIST::C_Login>(
        session, user, atKeypad ? reinterpret_cast<CK_BYTE*>(typed.data()) : pin,
        atKeypad ? typed.size() : size);
    if (result == CKR_OK || result == CKR_PIN_INCORRECT)
        std::ofstream(file("wrong"), result == CKR_OK ? std::ios::trunc : std::ios::app)
            << (result == CKR_OK ? "" : "\n");
    return result;
}

} // namespace

extern "C" CK_RV C_GetFunctionList(CK_FUNCTION_LIST** list) {
    void* const module = ::dlopen(TVK_SOFTHSM_MODULE, RTLD_NOW | RTLD_LOCAL);
    auto const get =
        reinterpret_cast<CK_C_GetFunctionList>(module != nullptr ? ::dlsym(module, __func__) : nullptr);
    if (get == nullptr || get(&real) != CKR_OK)
        return CKR_GENERAL_ERROR;
    hooked = *real;
    using List = CK_FUNCTION_LIST;
    hook<&List::C_Initialize>("C_Initialize"), hook<&List::C_GetSlotList>("C_GetSlotList");
    hook<&List::C_GetTokenInfo>("C_GetTokenInfo"), hook<&List::C_GetMechanismInfo>("C_GetMechanismInfo");
    hook<&List::C_OpenSession>("C_OpenSession"), hook<&List::C_CloseSession>("C_CloseSession");
    hook<&List::C_GetSessionInfo>("C_GetSessionInfo"), hook<&List::C_Login>("C_Login");
    hook<&List::C_FindObjectsInit>("C_FindObjectsInit"), hook<&List::C_FindObjects>("C_FindObjects");
    hook<&List::C_FindObjectsFinal>("C_FindObjectsFinal"), hook<&List::C_SignInit>("C_SignInit");
    hook<&List::C_GetAttributeValue>("C_GetAttributeValue"), hook<&List::C_Sign>("C_Sign");
    hooked.C_GetTokenInfo = getTokenInfo;
    hooked.C_OpenSession = openSession;
    hooked.C_CloseSession = closeSession;
    hooked.C_Login = login;
    *list = &hooked;
    return CKR_OK;
}
