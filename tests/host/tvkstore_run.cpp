#include "tvkstore_run.h"

#include <sys/stat.h>

#include <fstream>

namespace fs = std::filesystem;

void writeWhole(fs::path const& file, std::string const& content) {
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out << content << std::flush;
    ASSERT_TRUE(out) << file;
}

Snapshot snapshot(fs::path const& directory) {
    Snapshot found;
    for (fs::directory_entry const& entry : fs::recursive_directory_iterator(directory)) {
        struct stat status {};
        EXPECT_EQ(::lstat(entry.path().c_str(), &status), 0) << entry.path();
        std::ostringstream text;
        text << std::oct << status.st_mode << ' ' << std::dec << status.st_mtim.tv_sec << '.'
             << status.st_mtim.tv_nsec << ' ';
        if (S_ISREG(status.st_mode))
            text << readWhole(entry.path());
        found[entry.path()] = text.str();
    }
    return found;
}

ProgramResult TvkstoreTest::run(Words words) {
    words.insert(words.begin(), TVKSTORE);
    return runProgram({.arguments = words, .environment = environment});
}

ProgramResult TvkstoreTest::runInShell(std::string const& line, Words words) {
    words.insert(words.begin(), {"sh", "-c", line, TVKSTORE});
    return runProgram({.arguments = words, .environment = environment});
}

nlohmann::json TvkstoreTest::json(Words words, int exitCode) {
    words.push_back("--json");
    ProgramResult const result = run(words);
    EXPECT_EQ(result.exitCode, exitCode) << result.error;
    return nlohmann::json::parse(result.output);
}

Words WorkFolderTest::expand(Words words) const {
    for (std::string& word : words)
        word = word.starts_with('=') ? file(word.substr(1)) : word;
    return words;
}

void WorkFolderTest::call(Words const& words) {
    ProgramResult const result = runProgram({.arguments = expand(words)});
    ASSERT_EQ(result.exitCode, 0) << words[0] << ' ' << words[1] << ": " << result.error;
}

void WorkFolderTest::expectRun(Words const& words, int exitCode, std::string const& message) {
    ProgramResult const result = run(expand(words));
    EXPECT_EQ(result.exitCode, exitCode) << testing::PrintToString(words) << result.error;
    EXPECT_NE((result.output + result.error).find(message), std::string::npos)
        << result.output << result.error;
}

ProgramResult WorkFolderTest::script(std::string const& lines) {
    return runInShell("set -e; cd " + work.path().string() + "; export PW=secret\n" + lines, {});
}

std::string WorkFolderTest::expectScript(std::string const& lines) {
    ProgramResult const result = script(lines);
    EXPECT_EQ(result.exitCode, 0) << lines << result.output << result.error;
    return result.output;
}
