#pragma once

#include <CLI/App.hpp>

#include <string>
#include <string_view>

namespace tvkstore {

// The store that takes items with a private key, whatever store is open.
constexpr char kKeyStore[] = "MY";

// The number by which the key store's interface knows a store.
unsigned long storeKind(std::string_view name);

// The options that go with every command.
struct GlobalOptions {
    std::string store = kKeyStore;
    std::string provider{}; // empty: the default provider
    bool json = false;
    std::string module = "tvkbridge"; // a path, or a bare name
    std::string trace{};              // empty: off

    // The components to trace.
    unsigned long traceComponents() const;
};

void defineGlobalOptions(CLI::App& program, GlobalOptions& options);

} // namespace tvkstore
