#pragma once

#include "tracing.h"

#include <tvkcore/base/tvkstring.h>

#include <source_location>

// The module's codes, which tell what kind of work failed.
enum ErrorCode : int {
    errorProviderNotAvailable = 578001,
    errorNotOpened = 578002, // provider or store could not be read or opened
    errorSystemNotSupported = 578004,
    errorAddFailed = 578006,
    errorDeleteFailed = 578008,
    errorCertificateNotCreated = 578009,
    errorCancelled = 578010,
    errorRandomData = 578011,
    errorKeyNotReached = 578012, // a key could not be made or reached
    errorEncryption = 578013,
    errorDecryption = 578014,
    errorSigning = 578015,
    errorVerification = 578016,
    errorCertificateMissing = 571002
};

// Throws a TVKCAPIException without a system code.
[[noreturn]] void raise(SourceFile const& source, ErrorCode code, TVKString const& message,
                        std::source_location const& where = std::source_location::current());

// Throws a TVKCAPIException with the platform's last error, which is read after the strings were built.
[[noreturn]] void raiseWithLastError(SourceFile const& source, ErrorCode code, char const* message,
                                     std::source_location const& where = std::source_location::current());

// The same with a system code that the module itself found.
[[noreturn]] void raiseWithSystemCode(SourceFile const& source, ErrorCode code, char const* message,
                                      unsigned long systemCode,
                                      std::source_location const& where = std::source_location::current());
