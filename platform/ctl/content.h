// All that a database holds, read entry by entry: what is damaged is found and doesn't hide the rest.
#pragma once

#include "findings.h"
#include "key_containers.h"
#include "properties.h"

#include <optional>
#include <string>
#include <vector>

namespace wincryptctl {

struct ContainerEntry {
    std::int64_t row;
    std::string name;
    std::vector<wincrypt::StoredKey> keys; // by slot
};

struct CertificateEntry {
    std::string store;
    std::string name;                                // friendly name, else subject
    std::string serial;                              // empty when the certificate doesn't decode
    std::optional<wincrypt::KeyReference> reference; // of its private key
};

struct Content {
    std::vector<ContainerEntry> containers;     // by name
    std::vector<CertificateEntry> certificates; // by store and place
    // Of damaged certificates it isn't known which containers they name.
    bool areReferencesKnown = true;
};

// One moment's state: in one transaction. Throws wincrypt::Failure for what isn't damage of an entry.
Content readContent(wincrypt::Connection& connection, Findings& findings);

// "exchange" or "signature".
char const* slotName(DWORD slot);

// "MY: Alice (42AF)"
std::string labelOf(CertificateEntry const& certificate);

} // namespace wincryptctl
