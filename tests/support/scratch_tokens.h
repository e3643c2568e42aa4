#pragma once

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

    // A new token; gives its label, another one each time when none is given.
    std::string add(std::string label = "") const;
    static constexpr char rightPin[] = "12345678";

    // Writes a file of the folder: "pin" is what WINCRYPT_PIN_SOURCE names, "behaviour" what the faulty
    // module is to do.
    std::filesystem::path write(std::string const& name, std::string const& text) const;
    long calls(std::string const& name = "") const; // to the faulty module since the file "calls" was written

    // Runs pkcs11-tool or p11tool on the token, logged in, and gives its output. Throws std::invalid_argument
    // for a token whose label wasn't made here, std::runtime_error when the program fails.
    std::string tool(std::string const& label, std::vector<std::string> command) const;

    static std::string uriOf(std::string const& label);
    std::filesystem::path const& folder() const { return folder_; }

private:
    std::filesystem::path const folder_;
    mutable std::set<std::string> made_;
    std::list<EnvironmentVariable> variables_;
};

} // namespace test_support
