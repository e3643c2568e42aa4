#pragma once

#include "support/run_program.h"
#include "support/scratch_profile.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <map>
#include <string>
#include <vector>

using namespace test_support;
using Words = std::vector<std::string>;

void writeWhole(std::filesystem::path const& file, std::string const& content);

// Everything under a directory: what each path is, its mode, the time of its last change, and its content.
using Snapshot = std::map<std::string, std::string>;
Snapshot snapshot(std::filesystem::path const& directory);

// The program in a profile of its own. What reads must leave the profile as it was, which the end of each
// test checks.
class TvkstoreTest : public testing::Test {
protected:
    ProgramResult run(Words words);

    // The shell runs `line` with the program as "$0" and the words as "$@".
    ProgramResult runInShell(std::string const& line, Words words);

    // The one JSON value of a run that has to end with the exit code.
    nlohmann::json json(Words words, int exitCode = 0);

    // The test's own files are put into the profile first.
    void profileIsReady() { m_before = snapshot(profile.directory().path()); }
    void SetUp() override { profileIsReady(); }
    void TearDown() override { EXPECT_EQ(snapshot(profile.directory().path()), m_before); }

    ScratchProfile profile;
    std::vector<std::pair<std::string, std::string>> environment;

private:
    Snapshot m_before;
};

// With a folder for files beside the profile. They are named without it; "=" in front of a word makes it one
// of them.
class WorkFolderTest : public TvkstoreTest {
protected:
    std::string file(std::string const& name) const { return (work.path() / name).string(); }
    Words expand(Words words) const;

    // Another program, which has to succeed.
    void call(Words const& words);

    // The message stands in what the program writes.
    void expectRun(Words const& words, int exitCode, std::string const& message = "");

    // Lines for the shell in that folder, with the program as "$0".
    ProgramResult script(std::string const& lines);
    std::string expectScript(std::string const& lines); // what it writes, having succeeded

    ScratchDirectory work;
};
