#include "support/scratch_tokens.h"

#include "support/run_program.h"

#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <regex>
#include <stdexcept>
#include <system_error>

namespace test_support {

namespace {

std::string run(std::vector<std::string> const& command) {
    ProgramResult const result = runProgram({command, {{"GNUTLS_PIN", ScratchTokens::rightPin}}});
    if (result.exitCode != 0)
        throw std::runtime_error(command.front() + ": " + result.output + result.error);
    return result.output;
}

} // namespace

void becomeUserWithRegistry() {
    if (::getuid() != 0)
        return;
    constexpr uid_t user = 54321;
    constexpr unsigned kept = 1u << CAP_DAC_OVERRIDE | 1u << CAP_DAC_READ_SEARCH;
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct const data[2] = {{kept, kept, kept}, {0, 0, 0}};
    bool good = ::prctl(PR_SET_KEEPCAPS, 1) == 0 && ::setresgid(user, user, user) == 0 &&
                ::setresuid(user, user, user) == 0 && ::syscall(SYS_capset, &header, data) == 0;
    for (unsigned const each : {CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH})
        good = good && ::prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_RAISE, each, 0, 0) == 0;
    if (!good || ::prctl(PR_SET_DUMPABLE, 1) != 0) // leak checking looks at the process as a debugger does
        throw std::system_error(errno, std::generic_category(), "becoming another user");
}

ScratchTokens::ScratchTokens(ScratchDirectory const& directory) : folder_(directory.path() / "registry") {
    std::filesystem::create_directories(folder_ / "pkcs11/modules");
    std::filesystem::create_directory(folder_ / "tokens");
    write("pkcs11/pkcs11.conf", "user-config: only\n");
    auto const configuration =
        write("softhsm2.conf", "directories.tokendir = " + (folder_ / "tokens").string() +
                                   "\nobjectstore.backend = file\nlog.level = ERROR\n");
    write("pin", rightPin);
    variables_.emplace_back("WINCRYPT_TOKEN_DISCOVERY_TIMEOUT", std::nullopt);
    variables_.emplace_back("XDG_CONFIG_HOME", folder_.string());
    variables_.emplace_back("FAULTY_TOKEN", folder_.string());
    variables_.emplace_back("SOFTHSM2_CONF", configuration.string());
    variables_.emplace_back("WINCRYPT_PIN_SOURCE", "file:" + (folder_ / "pin").string());
}

std::filesystem::path ScratchTokens::write(std::string const& name, std::string const& text) const {
    std::ofstream(folder_ / name) << text;
    std::filesystem::permissions(folder_ / name, std::filesystem::perms(0600));
    return folder_ / name;
}

void ScratchTokens::setModule(std::string const& path) const {
    static int number = 0;
    std::filesystem::remove_all(folder_ / "pkcs11/modules");
    std::filesystem::create_directory(folder_ / "pkcs11/modules");
    write("pkcs11/modules/scratch-" + std::to_string(++number) + ".module", "module: " + path + "\n");
}

std::string ScratchTokens::add(std::string label) const {
    static int number = 0;
    if (label.empty())
        label = "scratch " + std::to_string(::getpid()) + "-" + std::to_string(++number);
    run({"softhsm2-util", "--init-token", "--free", "--label", label, "--pin", rightPin, "--so-pin",
         rightPin});
    made_.insert(label);
    return label;
}

long ScratchTokens::calls(std::string const& name) const {
    std::ifstream input(folder_ / "calls");
    return static_cast<long>(
        std::count_if(std::istream_iterator<std::string>(input), {},
                      [&](std::string const& call) { return name.empty() || call == name; }));
}

std::string ScratchTokens::tool(std::string const& label, std::vector<std::string> command) const {
    if (made_.count(label) == 0)
        throw std::invalid_argument("the token \"" + label + "\" isn't one of the test's own");
    if (command.front() == "p11tool") {
        command.insert(command.begin() + 1, {"--provider", softHsm, "--login", "--batch"});
        command.push_back(uriOf(label));
    } else {
        command.insert(command.begin() + 1,
                       {"--module", softHsm, "--token-label", label, "--login", "--pin", rightPin});
    }
    return run(command);
}

std::string ScratchTokens::uriOf(std::string const& label) {
    return "pkcs11:token=" + std::regex_replace(label, std::regex(" "), "%20");
}

} // namespace test_support
