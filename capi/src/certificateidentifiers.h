#pragma once

#include <tvkcore/base/tvkbuffer.h>

#include <windows.h>

#include <wincrypt.h>

#include <optional>

// The certificate identifiers that the module made. The image of a CERT_ID holds raw pointers into a
// certificate's memory, so an image that comes back from outside is followed only when it was made here, and
// then by the copy of issuer and serial number that was kept with it. Usable from any thread.
class CertificateIdentifiers {
public:
    // Keeps copies of what the identifier points to.
    static void remember(CERT_ID const& id);

    // A copy of issuer and serial number that stands on its own.
    class Copy {
    public:
        Copy(TVKBuffer const& issuer, TVKBuffer const& serialNumber);

        // Points into this copy.
        CERT_ID id() const;

    private:
        TVKBuffer issuer_;
        TVKBuffer serialNumber_;
    };

    // The copy for an image, or nothing for one that wasn't made here.
    static std::optional<Copy> find(TVKBuffer const& image);
};
