// The calls on certificate stores and contexts.
#include "boundary.h"
#include "memory_store.h"
#include "store_object.h"
#include "text.h"

using namespace wincrypt;

namespace {

ULONG_PTR handleOf(HCERTSTORE store) { return reinterpret_cast<ULONG_PTR>(store); }

HCERTSTORE storeOf(ULONG_PTR handle) { return reinterpret_cast<HCERTSTORE>(handle); }

std::shared_ptr<StoreObject> storeObject(HCERTSTORE store) { return objectOf<StoreObject>(handleOf(store)); }

// The context that a call takes over: it is freed when the call ends, whatever the outcome.
ContextHolder taken(PCCERT_CONTEXT context) {
    return ContextHolder(context != nullptr ? &CertificateContext::of(context) : nullptr);
}

CertificateFields parsed(DWORD encodingType, BYTE const* data, DWORD length) {
    if ((encodingType & 0xFFFF) != X509_ASN_ENCODING)
        fail(E_INVALIDARG);
    CertificateFields fields;
    if (!parseCertificate(viewOf(data, length), fields))
        fail(CRYPT_E_ASN1_CORRUPT);
    return fields;
}

std::shared_ptr<StoreObject> openSystem(std::string const& name, DWORD flags) {
    DWORD const location = flags & CERT_SYSTEM_STORE_LOCATION_MASK;
    if (name.empty() ||
        (location != CERT_SYSTEM_STORE_CURRENT_USER && location != CERT_SYSTEM_STORE_LOCAL_MACHINE))
        fail(ERROR_INVALID_PARAMETER);
    return openSystemStore(location == CERT_SYSTEM_STORE_CURRENT_USER ? Scope::user : Scope::machine, name,
                           (flags & CERT_STORE_OPEN_EXISTING_FLAG) != 0,
                           (flags & CERT_STORE_READONLY_FLAG) != 0);
}

DWORD addTo(HCERTSTORE store, CertificateFields const& fields, PropertySet const& properties,
            DWORD disposition, PCCERT_CONTEXT* result) {
    if (disposition < CERT_STORE_ADD_NEW || disposition > CERT_STORE_ADD_REPLACE_EXISTING_INHERIT_PROPERTIES)
        return errorValue(E_INVALIDARG);
    ContextHolder added(storeObject(store)->add(store, fields, properties, disposition));
    if (result != nullptr)
        *result = added.release();
    return ERROR_SUCCESS;
}

} // namespace

HCERTSTORE WINAPI CertOpenStore(LPCSTR lpszStoreProvider, DWORD, HCRYPTPROV_LEGACY, DWORD dwFlags,
                                void const* pvPara) {
    return boundaryResult<HCERTSTORE>([&](HCERTSTORE& result) -> DWORD {
        constexpr DWORD known = CERT_STORE_OPEN_EXISTING_FLAG | CERT_STORE_READONLY_FLAG |
                                CERT_STORE_MAXIMUM_ALLOWED_FLAG | CERT_SYSTEM_STORE_LOCATION_MASK;
        if ((dwFlags & ~known) != 0)
            return ERROR_INVALID_PARAMETER;
        std::shared_ptr<StoreObject> store;
        if (lpszStoreProvider == CERT_STORE_PROV_MEMORY) {
            store = std::make_shared<StoreObject>(
                std::vector<StoreObject::Member>{{std::make_shared<MemoryStoreView>()}}, false);
        } else if (lpszStoreProvider == CERT_STORE_PROV_COLLECTION) {
            store = std::make_shared<StoreObject>(std::vector<StoreObject::Member>{}, true);
        } else if (lpszStoreProvider == CERT_STORE_PROV_SYSTEM_W ||
                   lpszStoreProvider == CERT_STORE_PROV_SYSTEM_A) {
            if (pvPara == nullptr)
                return ERROR_INVALID_PARAMETER;
            std::optional<std::string> name;
            if (lpszStoreProvider == CERT_STORE_PROV_SYSTEM_W)
                name = narrow(static_cast<wchar_t const*>(pvPara));
            else if (char const* text = static_cast<char const*>(pvPara); isUtf8(text))
                name = text;
            if (!name)
                return ERROR_NO_UNICODE_TRANSLATION;
            store = openSystem(*name, dwFlags);
        } else {
            return ERROR_FILE_NOT_FOUND;
        }
        result = storeOf(makeHandle(std::move(store)));
        return ERROR_SUCCESS;
    });
}

HCERTSTORE WINAPI CertOpenSystemStoreA(HCRYPTPROV_LEGACY hProv, LPCSTR szSubsystemProtocol) {
    return CertOpenStore(CERT_STORE_PROV_SYSTEM_A, 0, hProv, CERT_SYSTEM_STORE_CURRENT_USER,
                         szSubsystemProtocol);
}

BOOL WINAPI CertCloseStore(HCERTSTORE hCertStore, DWORD dwFlags) {
    return boundary([&]() -> DWORD {
        if (hCertStore == nullptr)
            return ERROR_SUCCESS;
        if ((dwFlags & ~DWORD{CERT_CLOSE_STORE_FORCE_FLAG | CERT_CLOSE_STORE_CHECK_FLAG}) != 0)
            return ERROR_INVALID_PARAMETER;
        const auto store = takeObject<StoreObject>(handleOf(hCertStore));
        return (dwFlags & CERT_CLOSE_STORE_CHECK_FLAG) != 0 && store->hasLivingContexts()
                   ? errorValue(CRYPT_E_PENDING_CLOSE)
                   : ERROR_SUCCESS;
    });
}

BOOL WINAPI CertAddStoreToCollection(HCERTSTORE hCollectionStore, HCERTSTORE hSiblingStore,
                                     DWORD dwUpdateFlags, DWORD dwPriority) {
    return boundary([&] {
        if ((dwUpdateFlags & ~DWORD{CERT_PHYSICAL_STORE_ADD_ENABLE_FLAG}) != 0)
            fail(ERROR_INVALID_PARAMETER);
        storeObject(hCollectionStore)
            ->addSibling(storeObject(hSiblingStore),
                         (dwUpdateFlags & CERT_PHYSICAL_STORE_ADD_ENABLE_FLAG) != 0, dwPriority);
    });
}

PCCERT_CONTEXT WINAPI CertEnumCertificatesInStore(HCERTSTORE hCertStore, PCCERT_CONTEXT pPrevCertContext) {
    return CertFindCertificateInStore(hCertStore, X509_ASN_ENCODING, 0, CERT_FIND_ANY, nullptr,
                                      pPrevCertContext);
}

namespace {

template <class T>
T const& parameter(void const* given) {
    if (given == nullptr)
        fail(E_INVALIDARG);
    return *static_cast<T const*>(given);
}

Selection identitySelection(CERT_NAME_BLOB const& issuer, CRYPT_INTEGER_BLOB const& serial) {
    ByteView const number = viewOf(serial.pbData, serial.cbData);
    return Selection::byIdentity(viewOf(issuer.pbData, issuer.cbData), Bytes(number.rbegin(), number.rend()));
}

bool hasProperty(CertificateContext& context, DWORD property) {
    DWORD length = 0;
    DWORD const lastError = GetLastError();
    bool const has = CertGetCertificateContextProperty(&context, property, nullptr, &length) != FALSE;
    SetLastError(lastError);
    return has;
}

bool propertyEquals(CertificateContext& context, DWORD property, ByteView value) {
    BYTE room[64];
    DWORD length = sizeof room;
    DWORD const lastError = GetLastError();
    bool const has = CertGetCertificateContextProperty(&context, property, room, &length) != FALSE;
    SetLastError(lastError);
    return has && equal({room, length}, value);
}

// What a search asks for: what the store looks up, and what is then tested on each certificate.
struct Search {
    Selection selection;
    enum class Test { none, property, propertyValue, subject } test = Test::none;
    DWORD property = 0;
    ByteView value;

    bool accepts(CertificateContext& context) const {
        switch (test) {
        case Test::none:
            return true;
        case Test::property:
            return hasProperty(context, property);
        case Test::propertyValue:
            return propertyEquals(context, property, value);
        case Test::subject:
            return equal(viewOf(context.pCertInfo->Subject.pbData, context.pCertInfo->Subject.cbData), value);
        }
        fail(ERROR_INTERNAL_ERROR);
    }
};

Search valueSearch(Search::Test test, DWORD property, CRYPT_DATA_BLOB const& blob) {
    Search search;
    search.test = test;
    search.property = property;
    search.value = viewOf(blob.pbData, blob.cbData);
    return search;
}

Search searchFor(DWORD type, void const* given) {
    Search search;
    switch (type) {
    case CERT_FIND_ANY:
        return search;
    case CERT_FIND_PROPERTY: {
        auto const property = parameter<DWORD>(given);
        if (property == CERT_KEY_PROV_INFO_PROP_ID) {
            search.selection.kind = Selection::Kind::withKeyInfo;
        } else if (property == CERT_FRIENDLY_NAME_PROP_ID) {
            search.selection.kind = Selection::Kind::withFriendlyName;
        } else {
            search.test = Search::Test::property;
            search.property = property;
        }
        return search;
    }
    case CERT_FIND_CERT_ID: {
        auto const& id = parameter<CERT_ID>(given);
        switch (id.dwIdChoice) {
        case CERT_ID_ISSUER_SERIAL_NUMBER:
            search.selection =
                identitySelection(id.IssuerSerialNumber.Issuer, id.IssuerSerialNumber.SerialNumber);
            return search;
        case CERT_ID_KEY_IDENTIFIER:
            return valueSearch(Search::Test::propertyValue, CERT_KEY_IDENTIFIER_PROP_ID, id.KeyId);
        case CERT_ID_SHA1_HASH:
            return valueSearch(Search::Test::propertyValue, CERT_SHA1_HASH_PROP_ID, id.HashId);
        default:
            fail(E_INVALIDARG);
        }
    }
    case CERT_FIND_SHA1_HASH:
        return valueSearch(Search::Test::propertyValue, CERT_SHA1_HASH_PROP_ID,
                           parameter<CRYPT_HASH_BLOB>(given));
    case CERT_FIND_SUBJECT_NAME:
        return valueSearch(Search::Test::subject, 0, parameter<CERT_NAME_BLOB>(given));
    case CERT_FIND_SUBJECT_CERT: {
        auto const& info = parameter<CERT_INFO>(given);
        search.selection = identitySelection(info.Issuer, info.SerialNumber);
        return search;
    }
    case CERT_FIND_EXISTING: {
        auto const& context = parameter<CERT_CONTEXT>(given);
        search.selection = identitySelection(context.pCertInfo->Issuer, context.pCertInfo->SerialNumber);
        return search;
    }
    default:
        fail(E_INVALIDARG);
    }
}

} // namespace

PCCERT_CONTEXT WINAPI CertFindCertificateInStore(HCERTSTORE hCertStore, DWORD dwCertEncodingType,
                                                 DWORD dwFindFlags, DWORD dwFindType, void const* pvFindPara,
                                                 PCCERT_CONTEXT pPrevCertContext) {
    // Freed at the end: what is searched for may lie in it.
    ContextHolder const previous = taken(pPrevCertContext);
    return boundaryResult<PCCERT_CONTEXT>([&](PCCERT_CONTEXT& result) -> DWORD {
        const auto store = storeObject(hCertStore);
        if ((dwCertEncodingType & 0xFFFF) != X509_ASN_ENCODING || dwFindFlags != 0)
            return errorValue(E_INVALIDARG);
        Search const search = searchFor(dwFindType, pvFindPara);
        ContextHolder found(store->next(hCertStore, previous.get(), search.selection));
        while (found && !search.accepts(*found))
            found.reset(store->next(hCertStore, found.get(), search.selection));
        if (!found)
            return errorValue(CRYPT_E_NOT_FOUND);
        result = found.release();
        return ERROR_SUCCESS;
    });
}

PCCERT_CONTEXT WINAPI CertCreateCertificateContext(DWORD dwCertEncodingType, BYTE const* pbCertEncoded,
                                                   DWORD cbCertEncoded) {
    return boundaryResult<PCCERT_CONTEXT>([&](PCCERT_CONTEXT& result) -> DWORD {
        CertificateFields const fields = parsed(dwCertEncodingType, pbCertEncoded, cbCertEncoded);
        result = CertificateContext::create(fields, nullptr,
                                            {nullptr, 0, std::make_shared<MemoryCertificate>(), nullptr});
        return ERROR_SUCCESS;
    });
}

BOOL WINAPI CertFreeCertificateContext(PCCERT_CONTEXT pCertContext) {
    return boundary([&] { taken(pCertContext); });
}

BOOL WINAPI CertAddEncodedCertificateToStore(HCERTSTORE hCertStore, DWORD dwCertEncodingType,
                                             BYTE const* pbCertEncoded, DWORD cbCertEncoded,
                                             DWORD dwAddDisposition, PCCERT_CONTEXT* ppCertContext) {
    return boundary([&] {
        return addTo(hCertStore, parsed(dwCertEncodingType, pbCertEncoded, cbCertEncoded), {},
                     dwAddDisposition, ppCertContext);
    });
}

BOOL WINAPI CertAddCertificateContextToStore(HCERTSTORE hCertStore, PCCERT_CONTEXT pCertContext,
                                             DWORD dwAddDisposition, PCCERT_CONTEXT* ppStoreContext) {
    return boundary([&] {
        CertificateContext& context = CertificateContext::of(pCertContext);
        return addTo(hCertStore, context.fields(), *context.properties(), dwAddDisposition, ppStoreContext);
    });
}

BOOL WINAPI CertDeleteCertificateFromStore(PCCERT_CONTEXT pCertContext) {
    return boundary([&] {
        ContextHolder const context = taken(pCertContext);
        if (!context || !context->view)
            fail(E_INVALIDARG);
        context->view->remove(*context);
    });
}
