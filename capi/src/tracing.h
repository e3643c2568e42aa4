#pragma once

#include <tvkcore/base/tvktrace.h>

#include <source_location>

// A source file of the module, as its trace records and exceptions name it.
struct SourceFile {
    char const* path;
    unsigned long component;
};

// Opens the trace of an operation: writes the entry record and, when that was written, the exit record on
// every way out. Stands first in the operation and lives as long as it runs.
class OperationTrace {
public:
    OperationTrace(SourceFile const& source, char const* label,
                   std::source_location const& where = std::source_location::current()) {
        unsigned long const component = source.component;
        unsigned long const level = TVKTrace::entryLevel;
        if (TVKTrace::s_defaultTracePtr->write(source.path, where.line(), component, level, label)) {
            sentry_.component = component;
            sentry_.label = label;
        }
    }

private:
    TVKTraceSentry sentry_;
};
