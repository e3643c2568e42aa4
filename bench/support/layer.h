#pragma once

#include "support/certificate_series.h"

#include <windows.h>

#include <wincrypt.h>

#include <memory>
#include <string>
#include <type_traits>

namespace bench {

struct LayerRelease {
    void operator()(CERT_CONTEXT const* context) const { CertFreeCertificateContext(context); }
    void operator()(void* store) const { CertCloseStore(store, 0); }
};

using Context = std::unique_ptr<CERT_CONTEXT const, LayerRelease>;
using StoreHandle = std::unique_ptr<std::remove_pointer_t<HCERTSTORE>, LayerRelease>;

// Throws std::runtime_error with the last error unless the call was good.
void requireLayer(bool good, std::string const& what);

StoreHandle openPersonalStore();
Context contextOf(Bytes const& certificate);

// Adds a certificate that isn't in the store yet.
Context add(StoreHandle const& store, Context const& certificate);

void remove(Context certificate);

} // namespace bench
