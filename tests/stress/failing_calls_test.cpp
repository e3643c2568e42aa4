// The main job, step by step, with one call after another failing: for memory, for files, to the layer. Each
// run ends in a clear error or with the right result, nothing that was acknowledged before is lost, and what
// failed can be done after it.
#include "host/tvkstore_run.h"

#include <atomic>
#include <cerrno>
#include <fstream>
#include <regex>
#include <set>
#include <thread>

namespace {

namespace fs = std::filesystem;

struct Step {
    Words words;               // "=" before a word makes it one of the files
    char const* result = "";   // the file that it makes
    bool isExact = true;       // what it writes is the same each time
    char const* leavings = ""; // whose certificate it may leave without its name or its key when it fails
};

std::vector<Step> const steps{
    {{"providers"}},
    {{"list", "--store", "ROOT", "--json"}},
    {{"show", "--label", "keeper"}},
    {{"random", "64", "--out", "=random"}, "random", false},
    {{"create", "--label", "alice", "--subject", "CN=Alice,O=Acme", "--days", "365"}, "", false, "Alice"},
    {{"list"}},
    {{"sign", "--label", "alice", "--in", "=letter", "--out", "=letter.sig"}, "letter.sig"},
    {{"verify", "--label", "alice", "--in", "=letter", "--signature", "=letter.sig"}},
    {{"export", "--label", "alice", "--out", "=alice.pem"}, "alice.pem"},
    {{"export", "--label", "alice", "--public-key", "--out", "=alice.pub"}, "alice.pub"},
    {{"encrypt", "--cert", "=alice.pem", "--in", "=letter", "--out", "=letter.enc"}, "letter.enc", false},
    {{"decrypt", "--label", "alice", "--in", "=letter.enc", "--out", "=letter.dec"}, "letter.dec"},
    {{"import", "=bob.pem", "--key", "=bob.key"}, "", true, "Bob"},
    {{"find", "--label", "Bob"}},
    {{"export", "--label", "Bob", "--private-key", "--out", "=bob.clear"}, "bob.clear"},
    {{"update", "--label", "Bob", "--new-label", "robert"}},
    {{"delete", "--label", "robert", "--force"}},
    {{"delete", "--all", "--force"}},
};

struct Fault {
    std::string kind;
    unsigned number;
    int error;
    std::string name;
};

using Files = std::map<std::string, std::string>; // paths and contents

// A user's files, and the program at work on them.
class Place {
public:
    explicit Place(fs::path path) : path_(std::move(path)) {
        for (char const* const home : {"user", "machine"})
            fs::create_directories(path_ / home), fs::permissions(path_ / home, fs::perms::owner_all);
    }

    std::string file(std::string const& name) const { return (path_ / name).string(); }
    std::string report() const { return path_.string() + ".report"; }

    Files files() const {
        Files found;
        for (auto const& entry : fs::recursive_directory_iterator(path_))
            if (entry.is_regular_file())
                found[fs::relative(entry.path(), path_)] = readWhole(entry.path());
        return found;
    }

    void put(Files const& wanted) const {
        Files const present = files();
        for (auto const& [name, content] : present)
            if (!wanted.contains(name))
                fs::remove(path_ / name);
        for (auto const& [name, content] : wanted)
            if (auto const known = present.find(name); known == present.end() || known->second != content) {
                writeWhole(path_ / name, content);
                fs::permissions(path_ / name, fs::perms(0600));
            }
    }

    test_support::ProgramResult run(Words words, Fault const* fault = nullptr, bool isWatched = true,
                                    char const* program = TVKSTORE) const {
        for (std::string& word : words)
            word = word.starts_with('=') ? file(word.substr(1)) : word;
        words.insert(words.begin(), program);
        std::vector<std::pair<std::string, std::string>> environment{
            {"WINCRYPT_USER_HOME", file("user")},
            {"WINCRYPT_MACHINE_HOME", file("machine")},
            {"SSL_CERT_FILE", file("bundle")},
        };
        if (isWatched)
            environment.insert(environment.end(),
                               {{"LD_PRELOAD", FAILING_CALLS}, {"TVK_FAULT_REPORT", report()}});
        if (fault != nullptr)
            environment.emplace_back("TVK_FAULT", fault->kind + ':' + std::to_string(fault->number) + ':' +
                                                      std::to_string(fault->error));
        auto result = test_support::runProgram({words, environment});
        for (std::size_t at; (at = result.output.find(path_.string())) != std::string::npos;)
            result.output.erase(at, path_.string().size());
        return result;
    }

    test_support::ProgramResult plainRun(Words const& words, char const* program = TVKSTORE) const {
        return run(words, nullptr, false, program);
    }

    // What the store shows, without what differs from one making to the next.
    std::string listing() const {
        static std::regex const numbers("([0-9A-F]{20,}|20\\d\\d-\\d\\d-\\d\\d| )+");
        auto const listed = plainRun({"list"});
        EXPECT_EQ(listed.exitCode, 0) << listed.error;
        return std::regex_replace(listed.output, numbers, " ");
    }

private:
    fs::path path_;
};

// What a step leads to when nothing fails.
struct Outcome {
    Files files;
    std::string listing;
    test_support::ProgramResult result;
};

class FailingCalls : public WorkFolderTest {
protected:
    // The calls that are to fail: each for files and to the layer, with each error; of those for memory one
    // of all that are reached in the same way.
    std::vector<Fault> faultsOf(Place const& place) {
        std::vector<Fault> faults;
        std::ifstream calls(place.report());
        std::map<std::string, unsigned> counts;
        for (std::string kind, name, way, caller; calls >> kind >> name >> way >> caller;) {
            unsigned const number = ++counts[kind];
            if (kind == "layer")
                faults.push_back({kind, number, 1117, name}); // ERROR_IO_DEVICE
            else if (kind == "memory" && ways_.insert(way).second)
                faults.push_back({kind, number, ENOMEM, name});
            else if (kind == "file")
                for (int const error : {EIO, ENOSPC, EACCES, 0})
                    if (error != 0 || name.find("write") != name.npos)
                        faults.push_back({kind, number, error, name});
        }
        return faults;
    }

    // The step has failed, or changed something: nothing is damaged, what was there before is there, and the
    // step can be done.
    void expectSound(Place const& place, Step const& step, Outcome const& clean, bool isDone) {
        auto const checked = place.plainRun({"check"}, WINCRYPTCTL);
        EXPECT_EQ(checked.exitCode, 0) << checked.output << checked.error;
        if (clean.listing.find("keeper") != std::string::npos) {
            EXPECT_NE(place.listing().find("yes keeper CN=keeper"), std::string::npos) << place.listing();
            EXPECT_EQ(place.plainRun({"sign", "--label", "keeper", "--in", "=letter"}).output, signature_);
        }
        if (!isDone && place.listing() != clean.listing) {
            if (*step.result != '\0')
                fs::remove(place.file(step.result));
            auto again = place.plainRun(step.words);
            if (again.exitCode != 0 && *step.leavings != '\0') {
                for (std::string const form : {"", "cn="})
                    place.plainRun({"delete", "--label", form + step.leavings, "--force"});
                place.plainRun({"orphans", "--remove", "--force"}, WINCRYPTCTL);
                again = place.plainRun(step.words);
            }
            EXPECT_EQ(again.exitCode, 0) << again.output << again.error;
        }
        EXPECT_EQ(place.listing(), clean.listing);
    }

    void tryFault(Place const& place, Step const& step, Files const& before, Outcome const& clean,
                  Fault const& fault) {
        SCOPED_TRACE(testing::PrintToString(step.words) + fault.kind + ':' + std::to_string(fault.number) +
                     ':' + std::to_string(fault.error) + ' ' + fault.name);
        auto const run = place.run(step.words, &fault);
        bool const isDone = run.exitCode == 0;
        // The C library and libcrypto don't survive each lack of memory themselves.
        bool const isBroken =
            (run.exitCode < 0 || run.exitCode == 127) &&
            std::regex_search(readWhole(place.report()), std::regex("/lib(c|crypto)\\.so|/ld-linux"));
        if (isBroken) {
        } else if (isDone) {
            // To the module a call to the layer that fails is also the end of a walk, or something that isn't
            // there.
            EXPECT_TRUE(!step.isExact || fault.kind == "layer" || run.output == clean.result.output)
                << run.output << run.error;
        } else {
            EXPECT_TRUE(run.exitCode >= (fault.kind == "layer" ? 1 : 3) && run.exitCode <= 5) << run.exitCode;
            EXPECT_TRUE(std::regex_search(run.error, std::regex("(tvkstore: error|wincrypt): .+\n")))
                << run.error;
        }
        Files after = place.files();
        auto const result = after.extract(step.result);
        EXPECT_TRUE(!result.empty() || !isDone || *step.result == '\0');
        if (!result.empty()) {
            // Standard output, which ends after it, may fail.
            std::string const& wanted = clean.files.at(step.result);
            EXPECT_TRUE(step.isExact ? result.mapped() == wanted : result.mapped().size() == wanted.size());
        }
        for (auto const& [name, content] : after)
            EXPECT_TRUE(before.contains(name) || name.starts_with("user/user.db") ||
                        name == "user/sealing.key" || fault.name == "unlink" || isBroken)
                << "left behind: " << name;
        if (after != before || (isDone && clean.files != before))
            expectSound(place, step, clean, isDone);
        place.put(before);
        ++counts_[fault.kind][isBroken ? 2 : isDone ? 1 : 0];
    }

    std::set<std::string> ways_;
    std::string signature_;
    std::map<std::string, std::atomic<unsigned>[3]> counts_ {};
};

TEST_F(FailingCalls, EndInAnErrorOrInTheRightResult) {
    bool const isFull = std::getenv("TVK_STRESS_FULL") != nullptr;
    Place const first(work.path() / "first");
    Place const second(work.path() / "second");
    call({"openssl", "genpkey", "-quiet", "-algorithm", "RSA", "-out", first.file("bob.key")});
    call({"openssl", "req", "-x509", "-key", first.file("bob.key"), "-subj", "/O=Acme/CN=Bob", "-out",
          first.file("bob.pem")});
    fs::copy(first.file("bob.pem"), first.file("bundle"));
    writeWhole(first.file("letter"), "Dear Bob, the key is under the mat.\n");
    ASSERT_EQ(
        first.plainRun({"create", "--label", "keeper", "--subject", "CN=keeper", "--days", "9"}).exitCode, 0);
    signature_ = first.plainRun({"sign", "--label", "keeper", "--in", "=letter"}).output;
    ASSERT_EQ(signature_.size(), 256u);

    counts_["memory"], counts_["file"], counts_["layer"];
    std::size_t total = 0;
    for (Step const& step : steps) {
        Files const before = first.files();
        Outcome clean{{}, "", first.run(step.words)};
        ASSERT_EQ(clean.result.exitCode, 0) << testing::PrintToString(step.words) << clean.result.error;
        std::vector<Fault> const faults = faultsOf(first);
        total += faults.size();
        clean.files = first.files();
        clean.listing = first.listing();
        std::size_t const stride = isFull ? 1 : 97;
        std::atomic<std::size_t> next{static_cast<std::size_t>(&step - steps.data()) * 13 % stride};
        auto const tryAll = [&](Place const& place) {
            place.put(before);
            for (std::size_t i; (i = next.fetch_add(stride)) < faults.size();)
                tryFault(place, step, before, clean, faults[i]);
        };
        std::jthread other(tryAll, std::cref(second));
        tryAll(first);
        other.join();
        first.put(clean.files);
    }
    std::printf("%zu different faults\n", total);
    for (auto const& [kind, counts] : counts_)
        std::printf(
            "%s: %u runs ended in an error, %u with the right result, %u in libcrypto or the C library\n",
            kind.c_str(), counts[0].load(), counts[1].load(), counts[2].load());
}

} // namespace
