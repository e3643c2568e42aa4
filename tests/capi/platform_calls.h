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
    template <typename Result, typename... Arguments>
    void fail(Result (*call)(Arguments...), long error, unsigned nth = 0) {
        auto const failure = [error](Arguments...) {
            SetLastError(static_cast<DWORD>(error));
            return Result{};
        };
        answer(call, failure, nth);
    }

    // What was called since the last `forget`, in order.
    std::vector<std::string> names() const;

    // The arguments of each call of one kind: numbers below 10 in decimal, others in hexadecimal, texts in
    // quotes, anything else as "set" or "0".
    template <typename Result, typename... Arguments>
    std::vector<std::string> arguments(Result (*call)(Arguments...)) const {
        std::vector<std::string> found;
        for (Record const& record : m_records) {
            if (record.call == keyOf(call)) {
                found.push_back(record.arguments);
            }
        }
        return found;
    }

    template <typename Result, typename... Arguments>
    std::size_t count(Result (*call)(Arguments...)) const {
        return arguments(call).size();
    }

    // Forgets the records.
    void forget() { m_records.clear(); }

    // Forgets the records and the answers.
    void reset();

    using AnyCall = void (*)();

    template <typename Result, typename... Arguments>
    static AnyCall keyOf(Result (*call)(Arguments...)) {
        return reinterpret_cast<AnyCall>(call);
    }

    // Writes a call down; gives the answer that stands for it, or null.
    std::any* note(AnyCall call, char const* name, std::vector<std::string> const& arguments);

private:
    struct Record {
        AnyCall call;
        std::string name;
        std::string arguments;
    };
    struct Rule {
        unsigned nth;
        unsigned seen;
        std::any answer;
    };

    std::vector<Record> m_records;
    std::map<AnyCall, Rule> m_rules;
};

} // namespace capi_tests
