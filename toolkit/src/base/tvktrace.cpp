#include <tvkcore/base/tvktrace.h>

#include <new>
#include <ostream>

namespace {

// Never destroyed: modules that go late can still trace.
union Room {
    constexpr Room() : nothing('\0') {}
    ~Room() {}

    char nothing;
    TVKTrace trace;
};

constinit Room s_room;

[[maybe_unused]] TVKTrace* const s_made = ::new (&s_room.trace) TVKTrace;

} // namespace

constinit TVKTrace* TVKTrace::s_defaultTracePtr = &s_room.trace;

TVKTraceSink::~TVKTraceSink() = default;

TVKTraceStreamSink::TVKTraceStreamSink(std::ostream& stream) : stream_(stream) {}

void TVKTraceStreamSink::record(TVKTraceRecord const& record) {
    if (record.kind == TVKTraceRecord::Kind::entry) {
        stream_ << "> " << record.component << ' ' << record.file << ':' << record.line << ' ' << record.label
                << '\n';
    } else {
        stream_ << "< " << record.component << ' ' << record.label << '\n';
    }
}

bool TVKTrace::write(char const* file, unsigned int line, unsigned long const& component,
                     unsigned long const& level, char const* label) {
    if ((components_.load(std::memory_order_relaxed) & component) == 0) {
        return false;
    }
    return deliver({TVKTraceRecord::Kind::entry, file, line, component, level, label});
}

void TVKTrace::writeExit(unsigned long component, char const* label) noexcept {
    deliver({TVKTraceRecord::Kind::exit, nullptr, 0, component, exitLevel, label});
}

void TVKTrace::enable(unsigned long components, TVKTraceSink& sink, unsigned long levels) {
    std::lock_guard<TVKProcessMutex> const guard(mutex_);
    sink_ = &sink;
    levels_.store(levels, std::memory_order_relaxed);
    components_.store(components, std::memory_order_relaxed);
}

void TVKTrace::disable() {
    std::lock_guard<TVKProcessMutex> const guard(mutex_);
    components_.store(0, std::memory_order_relaxed);
    sink_ = nullptr;
}

bool TVKTrace::deliver(TVKTraceRecord const& record) {
    try {
        std::lock_guard<TVKProcessMutex> const guard(mutex_);
        // Looked at again under the lock: the trace may have been turned off since.
        if (sink_ == nullptr || (components_.load(std::memory_order_relaxed) & record.component) == 0 ||
            (levels_.load(std::memory_order_relaxed) & record.level) == 0) {
            return false;
        }
        sink_->record(record);
        return true;
    } catch (...) {
        return false;
    }
}

TVKTraceSentry::~TVKTraceSentry() {
    if (label != nullptr) {
        TVKTrace::s_defaultTracePtr->writeExit(component, label);
    }
}
