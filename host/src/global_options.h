#pragma once

#include <CLI/App.hpp>

#include <string>

namespace tvkstore {

// The options that go with every command.
struct GlobalOptions {
    std::string store = "MY";
    std::string provider{}; // empty: the default provider
    bool json = false;
    std::string module = "tvkbridge"; // a path, or a bare name
    std::string trace{};              // empty: off

    // The number by which the key store's interface knows the store.
    unsigned long storeKind() const;

    // The components to trace.
    unsigned long traceComponents() const;
};

void defineGlobalOptions(CLI::App& program, GlobalOptions& options);

} // namespace tvkstore
