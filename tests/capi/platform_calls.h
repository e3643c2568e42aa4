#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <any>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace capi_tests {

// Stands between the module and the platform layer. Every platform call passes through it on its way to the
// layer, is written down, and can be answered here instead. Calls that the layer makes for itself, and calls
// made by an answer, go straight to the layer.
class PlatformCalls {
public:
    static PlatformCalls& instance();

    // The n-th call from now on, counted from 1, gets this answer; with 0 every one does.
    template <typename Result, typename... Arguments, typename Answer>
    void answer(Result (*call)(Arguments...), Answer answer, unsigned nth = 0) {
        m_rules[keyOf(call)] = {nth, 0, std::function<Result(Arguments...)>(std::move(answer))};
    }

    // The call fails: FALSE, 0 or null, and this last error.
    template <typename Call>
    void fail(Call* call, long error, unsigned nth = 0) {
        m_rules[keyOf(call)] = {nth, 0, error};
    }

    // The n-th call of any kind from now on, counted from 1, fails with this error; calls that release
    // something aren't counted. `failed` then names it, and is empty when there weren't as many.
    void failNumber(unsigned number, long error);
    std::string const& failed() const { return m_failed; }

    // What was called since the last `forget`, in order.
    std::vector<std::string> const& names() const { return m_names; }

    // The arguments of each call of one kind: numbers in hexadecimal, texts in quotes, anything else as "set"
    // or "0".
    template <typename Call>
    std::vector<std::string> const& arguments(Call* call) {
        return m_arguments[keyOf(call)];
    }

    // Forgets what was called.
    void forget();

    // Forgets that and the answers.
    void reset();

    using AnyCall = void (*)();

    template <typename Call>
    static AnyCall keyOf(Call* call) {
        return reinterpret_cast<AnyCall>(call);
    }

    // Writes a call down; gives the answer that stands for it, which is the last error of a failure, or null.
    std::any* note(AnyCall call, char const* name, std::vector<std::string> const& arguments);

private:
    std::any* failureOf(std::string const& name);

    struct Rule {
        unsigned nth;
        unsigned seen;
        std::any answer;
    };

    std::vector<std::string> m_names;
    std::map<AnyCall, std::vector<std::string>> m_arguments;
    std::map<AnyCall, Rule> m_rules;
    unsigned m_untilFailure = 0;
    std::any m_failure;
    std::string m_failed;
};

} // namespace capi_tests
