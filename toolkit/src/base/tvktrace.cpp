#include <tvkcore/base/tvktrace.h>

#include <ostream>

namespace {

// Never destroyed, so that modules which go late can still trace.
union DefaultTrace {
    constexpr DefaultTrace() : trace() {}
    ~DefaultTrace() {}
    TVKTrace trace;
};

constinit DefaultTrace s_default;

} // namespace

constinit TVKTrace* TVKTrace::s_defaultTracePtr = &s_default.trace;

TVKTraceSink::~TVKTraceSink() = default;

TVKTraceStreamSink::TVKTraceStreamSink(std::ostream& stream) : m_stream(stream) {}

void TVKTraceStreamSink::record(TVKTraceRecord const& record) {
    if (record.kind == TVKTraceRecord::Kind::entry) {
        m_stream << "> " << record.component << ' ' << record.file << ':' << record.line << ' '
                 << record.label << '\n';
    } else {
        m_stream << "< " << record.component << ' ' << record.label << '\n';
    }
}

bool TVKTrace::write(char const* file, unsigned int line, unsigned long const& component,
                     unsigned long const& level, char const* label) {
    if ((m_components.load(std::memory_order_relaxed) & component) == 0) {
        return false;
    }
    return deliver({TVKTraceRecord::Kind::entry, file, line, component, level, label});
}

void TVKTrace::writeExit(unsigned long component, char const* label) noexcept {
    deliver({TVKTraceRecord::Kind::exit, nullptr, 0, component, exitLevel, label});
}

void TVKTrace::enable(unsigned long components, TVKTraceSink& sink, unsigned long levels) {
    std::lock_guard<std::mutex> const guard(m_mutex);
    m_sink = &sink;
    m_levels.store(levels, std::memory_order_relaxed);
    m_components.store(components, std::memory_order_relaxed);
}

void TVKTrace::disable() {
    std::lock_guard<std::mutex> const guard(m_mutex);
    m_components.store(0, std::memory_order_relaxed);
    m_sink = nullptr;
}

bool TVKTrace::deliver(TVKTraceRecord const& record) {
    try {
        std::lock_guard<std::mutex> const guard(m_mutex);
        // Looked at again under the lock: the trace may have been turned off since.
        if (m_sink == nullptr || (m_components.load(std::memory_order_relaxed) & record.component) == 0 ||
            (m_levels.load(std::memory_order_relaxed) & record.level) == 0) {
            return false;
        }
        m_sink->record(record);
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
