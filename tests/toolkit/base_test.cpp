#include "hex.h"
#include "support/scratch_profile.h"

#include <gmock/gmock.h>

#include <cstring>
#include <stdexcept>
#include <thread>

TEST(Strings, KeepZeroBytesAndRanges) {
    TVKString const text("a\0b", 3);
    EXPECT_EQ(text.size(), 3U);
    EXPECT_EQ(TVKString("a\0b").size(), 1U);
    EXPECT_EQ(TVKString(text, 0, TVKString::npos), text);
    EXPECT_EQ(TVKString(TVKString(), 0, TVKString::npos).size(), 0U);
    EXPECT_EQ(TVKString(text, 7, 1).size(), 0U);
    EXPECT_NE(text.compare("a"), 0);
    EXPECT_EQ(TVKString(nullptr).compare(""), 0);
    TVKString grown(text);
    grown += "cd";
    EXPECT_EQ(grown.view(), std::string_view("a\0bcd", 5));
}

TEST(Buffers, OwnCopiesAndTakeTheirOwnBytes) {
    TVKBuffer buffer(3, reinterpret_cast<unsigned char const*>("abc"));
    TVKBuffer const copy(buffer);
    // Growing from the buffer's own bytes reads memory that is about to be replaced.
    buffer.append(static_cast<unsigned int>(buffer.getLength()), buffer.getValue());
    buffer.append(static_cast<unsigned int>(buffer.getLength()), buffer.getValue());
    EXPECT_EQ(toHex(buffer), "616263616263616263616263");
    buffer.assign(4, buffer.getValue() + 1);
    EXPECT_EQ(toHex(buffer), "62636162");
    EXPECT_EQ(toHex(buffer.get()), toHex(buffer));
    EXPECT_EQ(toHex(copy), "616263");
    EXPECT_EQ(TVKBuffer(TVKString("x\0y", 3)).getLength(), 3U);
    EXPECT_EQ(TVKBuffer().getLength(), 0U);
    EXPECT_EQ(toHex(TVKBuffer(4, nullptr)), "00000000");

    // Each is less than those behind it.
    std::vector<std::string> const ascending = {"", "01", "0100", "0102", "ff"};
    for (std::size_t i = 0; i < ascending.size(); ++i) {
        for (std::size_t j = 0; j < ascending.size(); ++j) {
            int const order = TVKBuffer(viewOf(fromHex(ascending[i]))).compare(viewOf(fromHex(ascending[j])));
            EXPECT_EQ(order < 0, i < j) << i << ' ' << j;
            EXPECT_EQ(order == 0, i == j) << i << ' ' << j;
        }
    }
}

TEST(Buffers, WipeBytesThatAreGivenUp) {
    TVKBuffer buffer(8, reinterpret_cast<unsigned char const*>("secret!!"));
    unsigned char const* storage = buffer.getValue();
    buffer.assign(2, reinterpret_cast<unsigned char const*>("xy"));
    // The storage is still the buffer's own; what lay behind the new content must be gone.
    EXPECT_EQ(toHex(storage, 8), "7879000000000000");
}

TEST(Globals, CountAndCopy) {
    long count = 1;
    EXPECT_EQ(tvk_atomic_swap(&count, 1), 1);
    EXPECT_EQ(tvk_atomic_swap(&count, -1), 2);
    EXPECT_EQ(count, 1);
    char* copy = tvk_strdup("name", nullptr);
    EXPECT_STREQ(copy, "name");
    ::operator delete(copy);
    EXPECT_EQ(tvk_strdup(nullptr, nullptr), nullptr);
    long const before = TVKCoreGlobal::getInstanceCount();
    TVKCoreGlobal const global;
    EXPECT_EQ(TVKCoreGlobal::getInstanceCount(), before + 1);
}

namespace {

class RecordingSink : public TVKTraceSink {
public:
    void record(TVKTraceRecord const& record) override {
        bool const entry = record.kind == TVKTraceRecord::Kind::entry;
        lines.push_back((entry ? "> " : "< ") + std::to_string(record.component) + " " + record.label);
        if (throwing)
            throw std::runtime_error("sink");
    }

    std::vector<std::string> lines;
    bool throwing = false;
};

bool traced(unsigned long component, char const* label) {
    TVKTraceSentry sentry;
    if (TVKTrace::s_defaultTracePtr->write("file", 7, component, TVKTrace::entryLevel, label)) {
        sentry.component = component;
        sentry.label = label;
    }
    return sentry.label != nullptr;
}

} // namespace

TEST(Trace, PairsEntryWithExitForChosenComponents) {
    RecordingSink sink;
    EXPECT_FALSE(traced(4, "before"));
    TVKTrace::s_defaultTracePtr->enable(4, sink);
    EXPECT_TRUE(traced(4, "chosen"));
    EXPECT_FALSE(traced(2048, "other component"));
    TVKTrace::s_defaultTracePtr->enable(4, sink, TVKTrace::exitLevel);
    EXPECT_FALSE(traced(4, "other level"));
    TVKTrace::s_defaultTracePtr->enable(4, sink);
    sink.throwing = true;
    EXPECT_FALSE(traced(4, "sink throws"));
    TVKTrace::s_defaultTracePtr->disable();
    EXPECT_FALSE(traced(4, "after"));
    EXPECT_THAT(sink.lines, testing::ElementsAre("> 4 chosen", "< 4 chosen", "> 4 sink throws"));

    std::ostringstream stream;
    TVKTraceStreamSink lines(stream);
    TVKTrace::s_defaultTracePtr->enable(TVKTrace::allComponents, lines);
    traced(2048, "operation");
    TVKTrace::s_defaultTracePtr->disable();
    EXPECT_EQ(stream.str(), "> 2048 file:7 operation\n< 2048 operation\n");
}

TEST(Exceptions, CarryWhatTheyWereGivenAndRenderTheSystemCode) {
    TVKCAPIException const withCode("file", 3, 578011, "CryptGenRandom() return values rc=0x",
                                    static_cast<int>(0x8009000EU));
    TVKException const& base = withCode;
    EXPECT_STREQ(base.what(), "CryptGenRandom() return values rc=0x8009000e");
    EXPECT_STREQ(base.getMessage().c_str(), "CryptGenRandom() return values rc=0x");
    EXPECT_EQ(base.getCode(), 578011);
    EXPECT_EQ(base.getLine(), 3);
    EXPECT_STREQ(base.getFile().c_str(), "file");
    EXPECT_TRUE(withCode.hasSystemCode());
    TVKCAPIException const without("file", 3, 578001, "");
    EXPECT_FALSE(without.hasSystemCode());
    EXPECT_STREQ(without.what(), "failure 578001");
}

TEST(InternTable, GivesOnePointerForEqualText) {
    std::wstring const text = L"provider \u00e9";
    wchar_t const* first = TVKWideInternTable::intern(text.c_str());
    EXPECT_NE(first, text.c_str());
    EXPECT_EQ(first, TVKWideInternTable::intern(std::wstring(text).c_str()));
    EXPECT_TRUE(TVKWideInternTable::holds(first));
    EXPECT_FALSE(TVKWideInternTable::holds(text.c_str()));
    EXPECT_FALSE(TVKWideInternTable::holds(first + 1));
    EXPECT_FALSE(TVKWideInternTable::holds(nullptr));
    std::vector<std::thread> threads;
    std::vector<wchar_t const*> results(4);
    for (std::size_t i = 0; i < results.size(); ++i) {
        threads.emplace_back([&results, i] { results[i] = TVKWideInternTable::intern(L"shared by all"); });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_THAT(results, testing::Each(results[0]));
}

namespace {

void* firstFunction(void* argument) { return argument; }

void* secondFunction(void* /*argument*/) { return nullptr; }

} // namespace

TEST(LibraryManager, KeepsEntriesUntilTheirFunctionGoes) {
    EXPECT_EQ(TVKLibraryManager::getLibEntry("a plug-in"), nullptr);
    TVKLibraryManager::addLibEntry("a plug-in", &firstFunction);
    TVKLibraryManager::addLibEntry("another", &firstFunction);
    TVKLibraryManager::addLibEntry("a plug-in", &secondFunction);
    EXPECT_EQ(TVKLibraryManager::getLibEntry("a plug-in"), &secondFunction);
    TVKLibraryManager::removeLibEntries(&secondFunction);
    EXPECT_EQ(TVKLibraryManager::getLibEntry("a plug-in"), &firstFunction);
    TVKLibraryManager::removeLibEntries(&firstFunction);
    EXPECT_EQ(TVKLibraryManager::getLibEntry("another"), nullptr);
}

TEST(LibraryManager, SaysWhyAModuleCantBeLoaded) {
    EnvironmentVariable const path("TVK_PLUGIN_PATH", "/nonexistent/one:/nonexistent/two");
    for (auto const& [name, cause] :
         {std::pair("nosuchmodule", "not found in /nonexistent/one, /nonexistent/two"),
          {"/nonexistent/module.so", "No such file"},
          {"/etc/passwd", "can't be loaded"}}) {
        SCOPED_TRACE(name);
        TVKException const failure = failureOf([&, &file = name] { TVKLibraryManager::loadLibrary(file); });
        EXPECT_EQ(failure.getCode(), TVKCORE_LIBRARY_NOT_LOADED);
        EXPECT_THAT(failure.what(), testing::AllOf(testing::HasSubstr(cause), testing::HasSubstr(name)));
    }
    EXPECT_THROW(TVKLibraryManager::unloadLibrary("nosuchmodule"), TVKException);
}
