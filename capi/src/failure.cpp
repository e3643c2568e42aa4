#include "failure.h"

#include <tvkcore/base/tvkexception.h>

#include <windows.h>

void raise(SourceFile const& source, ErrorCode code, TVKString const& message,
           std::source_location const& where) {
    throw TVKCAPIException(source.path, static_cast<int>(where.line()), code, message);
}

void raiseWithLastError(SourceFile const& source, ErrorCode code, char const* message,
                        std::source_location const& where) {
    TVKString const file(source.path);
    TVKString const text(message);
    throw TVKCAPIException(file, static_cast<int>(where.line()), code, text,
                           static_cast<int>(GetLastError()));
}

void raiseWithSystemCode(SourceFile const& source, ErrorCode code, char const* message,
                         unsigned long systemCode, std::source_location const& where) {
    throw TVKCAPIException(source.path, static_cast<int>(where.line()), code, message,
                           static_cast<int>(systemCode));
}
