#pragma once

#include "support/environment_variable.h"
#include "support/scratch_profile.h"

#include <list>
#include <set>
#include <string>
#include <vector>

namespace test_support {

// p11-kit passes by a user's registry when root runs the program, and the tests must not touch the system's.
// So a process of root becomes another user, who keeps root's right to read and write every file. For the
// first line of main.
void becomeUserWithRegistry();

// A registry of PKCS#11 modules of the test's own, and tokens of SoftHSM in a folder of the test's own.
// Modules have other names each time, so that nothing that the layer knows of earlier ones serves them.
class ScratchTokens {
public:
    explicit ScratchTokens(ScratchDirectory const& directory);

    static constexpr char softHsm[] = TVK_SOFTHSM_MODULE;
    static constexpr char faulty[] = TVK_FAULTY_MODULE; // faulty_token.cpp
    void setModule(std::string const& path) const;      // the only one from now on

    std::string
    add(std::string label = "") const;         // gives the label: another one each time when none is given
    void setPin(std::string const& pin) const; // what WINCRYPT_PIN_SOURCE names; at first the right one
    static constexpr char rightPin[] = "12345678";

    // What the faulty module is to do from now on, and how often it was called since.
    void behave(std::string const& behaviour) const;
    long calls(std::string const& name = "") const;

    // Runs pkcs11-tool or p11tool on the token, logged in, and gives its output. Throws std::invalid_argument
    // for a token whose label wasn't made here, std::runtime_error when the program fails.
    std::string pkcs11Tool(std::string const& label, std::vector<std::string> arguments) const;
    std::string p11tool(std::string const& label, std::vector<std::string> arguments) const;

    static std::string uriOf(std::string const& label);
    std::filesystem::path const& folder() const { return folder_; }

private:
    std::filesystem::path write(std::string const& name, std::string const& text) const;
    void refuseForeign(std::string const& label) const;

    std::filesystem::path const folder_;
    mutable std::set<std::string> made_;
    std::list<EnvironmentVariable> variables_;
};

} // namespace test_support
