#include "support/layer.h"

#include <cstdio>
#include <stdexcept>

namespace bench {

void requireLayer(bool good, std::string const& what) {
    if (!good) {
        char code[16];
        std::snprintf(code, sizeof code, "0x%x", static_cast<unsigned>(GetLastError()));
        throw std::runtime_error(what + ": system code " + code);
    }
}

StoreHandle openPersonalStore() {
    StoreHandle store(CertOpenSystemStoreA(0, "MY"));
    requireLayer(store != nullptr, "CertOpenSystemStoreA");
    return store;
}

Context contextOf(Bytes const& certificate) {
    Context context(CertCreateCertificateContext(X509_ASN_ENCODING, certificate.data(),
                                                 static_cast<DWORD>(certificate.size())));
    requireLayer(context != nullptr, "CertCreateCertificateContext");
    return context;
}

Context add(StoreHandle const& store, Context const& certificate) {
    PCCERT_CONTEXT added = nullptr;
    requireLayer(
        CertAddCertificateContextToStore(store.get(), certificate.get(), CERT_STORE_ADD_NEW, &added) != FALSE,
        "CertAddCertificateContextToStore");
    return Context(added);
}

void remove(Context certificate) {
    requireLayer(CertDeleteCertificateFromStore(certificate.release()) != FALSE,
                 "CertDeleteCertificateFromStore");
}

} // namespace bench
