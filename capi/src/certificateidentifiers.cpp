#include "certificateidentifiers.h"

#include "untilunloaded.h"

#include <tvkcore/base/tvkprocessmutex.h>

#include <cstring>
#include <map>
#include <mutex>
#include <string>

namespace {

struct Table {
    TVKProcessMutex mutex;
    UntilUnloaded<std::map<std::string, CertificateIdentifiers::Copy>> copies;
};

Table& table() {
    static Table s_table;
    return s_table;
}

TVKBuffer bytesOf(CRYPT_INTEGER_BLOB const& blob) {
    return TVKBuffer(TVKASNCBuffer(blob.pbData, blob.cbData));
}

DWORD lengthOf(TVKBuffer const& buffer) { return static_cast<DWORD>(buffer.getLength()); }

BYTE* dataOf(TVKBuffer const& buffer) { return const_cast<BYTE*>(buffer.getValue()); }

} // namespace

CertificateIdentifiers::Copy::Copy(TVKBuffer const& issuer, TVKBuffer const& serialNumber)
    : issuer_(issuer), serialNumber_(serialNumber) {}

CERT_ID CertificateIdentifiers::Copy::id() const {
    CERT_ID id;
    std::memset(&id, 0, sizeof id);
    id.dwIdChoice = CERT_ID_ISSUER_SERIAL_NUMBER;
    id.IssuerSerialNumber.Issuer.cbData = lengthOf(issuer_);
    id.IssuerSerialNumber.Issuer.pbData = dataOf(issuer_);
    id.IssuerSerialNumber.SerialNumber.cbData = lengthOf(serialNumber_);
    id.IssuerSerialNumber.SerialNumber.pbData = dataOf(serialNumber_);
    return id;
}

void CertificateIdentifiers::remember(CERT_ID const& id) {
    std::string const image(reinterpret_cast<char const*>(&id), sizeof id);
    Copy const copy(bytesOf(id.IssuerSerialNumber.Issuer), bytesOf(id.IssuerSerialNumber.SerialNumber));
    std::lock_guard<TVKProcessMutex> const guard(table().mutex);
    // The same image again means that the memory of a certificate that is gone was used for another.
    table().copies.get().insert_or_assign(image, copy);
}

std::optional<CertificateIdentifiers::Copy> CertificateIdentifiers::find(TVKBuffer const& image) {
    std::string const key(reinterpret_cast<char const*>(image.getValue()), image.getLength());
    std::lock_guard<TVKProcessMutex> const guard(table().mutex);
    auto const& copies = table().copies.get();
    auto const found = copies.find(key);
    return found == copies.end() ? std::nullopt : std::optional<Copy>(found->second);
}
