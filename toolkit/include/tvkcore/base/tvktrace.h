#pragma once

#include <tvkcore/base/tvkexport.h>
#include <tvkcore/base/tvkprocessmutex.h>

#include <atomic>
#include <iosfwd>

// One trace record. The pointers are those of the traced operation: literals that live as long as its module
// does.
struct TVKTraceRecord {
    enum class Kind { entry, exit };

    Kind kind;
    char const* file;  // null in an exit record
    unsigned int line; // 0 in an exit record
    unsigned long component;
    unsigned long level;
    char const* label;
};

// Takes trace records. Calls come one at a time, from whatever thread is traced. A sink must not call into
// TVKTrace, and leaves the platform's last error as it finds it: the traced operation has still to read it.
class TVK_API TVKTraceSink {
public:
    virtual ~TVKTraceSink();
    virtual void record(TVKTraceRecord const& record) = 0;
};

// Writes one line a record to a stream: "> component file:line label" at entry, "< component label" at exit.
class TVK_API TVKTraceStreamSink : public TVKTraceSink {
public:
    // `stream` stays the caller's and must outlive the sink.
    explicit TVKTraceStreamSink(std::ostream& stream);
    void record(TVKTraceRecord const& record) override;

private:
    std::ostream& stream_;
};

// The trace: off until a host turns it on for some components and a sink. Usable from any thread, and from
// the first static initialiser of a module on.
class TVK_API TVKTrace {
public:
    static constexpr unsigned long entryLevel = 0x80000000UL;
    static constexpr unsigned long exitLevel = 0x40000000UL;
    static constexpr unsigned long allComponents = 0xFFFFFFFFUL;

    TVKTrace() = default;
    TVKTrace(TVKTrace const&) = delete;
    TVKTrace& operator=(TVKTrace const&) = delete;

    // The default instance; never null.
    static TVKTrace* s_defaultTracePtr;

    // Writes one record if tracing is on for that component and level, and gives true exactly then. A sink
    // that throws counts as not written. `component` and `level` are bit masks.
    bool write(char const* file, unsigned int line, unsigned long const& component,
               unsigned long const& level, char const* label);

    // Writes the exit record that belongs to an entry record which was written. Throws nothing.
    void writeExit(unsigned long component, char const* label) noexcept;

    // Sends records of these components and levels to `sink`, which stays the caller's, until `disable` or
    // the next `enable`.
    void enable(unsigned long components, TVKTraceSink& sink, unsigned long levels = entryLevel | exitLevel);

    // Turns the trace off. When it returns no thread is inside the sink, which may then be destroyed.
    void disable();

private:
    bool deliver(TVKTraceRecord const& record);

    std::atomic<unsigned long> components_{0};
    std::atomic<unsigned long> levels_{0};
    TVKProcessMutex mutex_;
    TVKTraceSink* sink_ = nullptr;
};

// Marks the exit of a traced operation: the operation fills both fields, with a null `label` when its entry
// record was not written, and the destructor writes the exit record when `label` isn't null.
class TVK_API TVKTraceSentry {
public:
    TVKTraceSentry() = default;
    TVKTraceSentry(TVKTraceSentry const&) = delete;
    TVKTraceSentry& operator=(TVKTraceSentry const&) = delete;
    ~TVKTraceSentry();

    unsigned long component = 0;
    char const* label = nullptr;
};
