#include "bundle_store.h"

#include "boundary.h"
#include "database_files.h"
#include "file_descriptor.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

#include <openssl/evp.h>

namespace wincrypt {

class Bundle {
public:
    struct Entry {
        Bytes encoding;
        CertificateFields fields; // views into the encoding
        std::int64_t identity = 0;
    };

    Bundle(std::string path, struct stat const& status, std::string_view text);

    bool isOf(std::string const& path, struct stat const& status) const noexcept {
        return path_ == path && status_.st_dev == status.st_dev && status_.st_ino == status.st_ino &&
               status_.st_size == status.st_size && status_.st_mtim.tv_sec == status.st_mtim.tv_sec &&
               status_.st_mtim.tv_nsec == status.st_mtim.tv_nsec;
    }
    std::vector<Entry> const& entries() const noexcept { return entries_; }

private:
    std::string path_;
    struct stat status_;
    std::vector<Entry> entries_;
};

namespace {

constexpr off_t largestBundle = 64 * 1024 * 1024;
constexpr std::string_view beginMark = "-----BEGIN CERTIFICATE-----";
constexpr std::string_view endMark = "-----END CERTIFICATE-----";

std::optional<Bytes> decodeBase64(std::string_view text) {
    std::string compact;
    compact.reserve(text.size());
    for (char const byte : text)
        if (!std::strchr(" \t\r\n", byte))
            compact += byte;
    if (compact.empty() || compact.size() % 4 != 0)
        return std::nullopt;
    Bytes bytes(compact.size() / 4 * 3);
    int const size = EVP_DecodeBlock(bytes.data(), reinterpret_cast<unsigned char const*>(compact.data()),
                                     static_cast<int>(compact.size()));
    if (size < 0)
        return std::nullopt;
    std::size_t const padding = compact.ends_with("==") ? 2 : compact.ends_with('=') ? 1 : 0;
    bytes.resize(static_cast<std::size_t>(size) - padding);
    return bytes;
}

std::shared_ptr<Bundle const> readBundle(std::string const& path) {
    FileDescriptor const file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status {};
    if (!file || ::fstat(file.number(), &status) != 0)
        failErrno(path, "the trust bundle can't be read");
    if (!S_ISREG(status.st_mode) || status.st_size > largestBundle) {
        logLine(path, "refused: not a trust bundle");
        fail(ERROR_FILE_CORRUPT);
    }
    std::string text(static_cast<std::size_t>(status.st_size), '\0');
    std::size_t size = 0;
    while (size < text.size()) {
        ssize_t const count = ::read(file.number(), text.data() + size, text.size() - size);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            failErrno(path, "the trust bundle can't be read");
        if (count == 0)
            break;
        size += static_cast<std::size_t>(count);
    }
    text.resize(size);
    return std::make_shared<Bundle const>(path, status, text);
}

// Kept until the file changes. Guarded by ProcessLock::bundle; never destroyed.
std::shared_ptr<Bundle const>& keptBundle() {
    static auto* const instance = new std::shared_ptr<Bundle const>;
    return *instance;
}

std::shared_ptr<Bundle const> currentBundle() {
    std::string const path = bundlePath();
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        logLine(path, std::string("there is no trust bundle: ") + std::strerror(errno));
        return nullptr;
    }
    {
        std::lock_guard const lock(processLock(ProcessLock::bundle));
        if (keptBundle() && keptBundle()->isOf(path, status))
            return keptBundle();
    }
    std::shared_ptr<Bundle const> bundle;
    if (outcome([&] { bundle = readBundle(path); }) != ERROR_SUCCESS)
        return nullptr; // logged; the certificates of other members stay visible
    std::lock_guard const lock(processLock(ProcessLock::bundle));
    keptBundle() = bundle;
    return bundle;
}

} // namespace

Bundle::Bundle(std::string path, struct stat const& status, std::string_view text)
    : path_(std::move(path)), status_(status) {
    std::size_t number = 0;
    std::size_t end = 0;
    std::size_t next = 0;
    for (std::size_t place = text.find(beginMark); place != std::string_view::npos; place = next) {
        place += beginMark.size();
        ++number;
        next = text.find(beginMark, place);
        // Each octet is looked at a few times at most, however many marks stand in the file.
        if (end < place)
            end = text.find(endMark, place);
        Entry entry;
        std::optional<Bytes> encoding;
        if (end < next)
            encoding = decodeBase64(text.substr(place, end - place));
        if (encoding)
            entry.encoding = std::move(*encoding);
        if (!parseCertificate(entry.encoding, entry.fields)) {
            logLine(path_, "certificate " + std::to_string(number) + " is damaged and passed by");
            continue;
        }
        entry.identity = identityOf(entry.fields.issuer, entry.fields.serialNumber);
        entries_.push_back(std::move(entry));
    }
}

std::string bundlePath() {
    char const* named = ::secure_getenv("SSL_CERT_FILE");
    return named != nullptr && *named != '\0' ? named : "/etc/ssl/certs/ca-certificates.crt";
}

CertificateContext* BundleStoreView::next(HCERTSTORE store, CertificateContext const* previous,
                                          Selection const& selection) {
    if (selection.kind == Selection::Kind::withKeyInfo || selection.kind == Selection::Kind::withFriendlyName)
        return nullptr;
    // Each walk goes to its end through the file as it was when that walk began.
    auto const bundle =
        previous != nullptr ? std::static_pointer_cast<Bundle const>(previous->walked) : currentBundle();
    if (!bundle)
        return nullptr;
    auto const& entries = bundle->entries();
    for (auto place = static_cast<std::size_t>(previous != nullptr ? previous->row : 0);
         place < entries.size(); ++place) {
        Bundle::Entry const& entry = entries[place];
        if (selection.kind == Selection::Kind::identity &&
            (entry.identity != selection.identity || !selection.matches(entry.fields)))
            continue;
        ContextHolder context;
        if (outcome([&] {
                context.reset(CertificateContext::create(
                    entry.fields, store,
                    {shared_from_this(), static_cast<std::int64_t>(place) + 1, nullptr, nullptr, bundle}));
            }) == ERROR_SUCCESS)
            return context.release();
    }
    return nullptr;
}

CertificateContext* BundleStoreView::add(HCERTSTORE, CertificateFields const&, PropertySet const&, DWORD) {
    fail(E_ACCESSDENIED);
}

void BundleStoreView::remove(CertificateContext const&) { fail(E_ACCESSDENIED); }

std::shared_ptr<PropertySet const> BundleStoreView::properties(CertificateContext&) {
    static auto const* const none =
        new std::shared_ptr<PropertySet const>(std::make_shared<PropertySet const>());
    return *none;
}

void BundleStoreView::setProperty(CertificateContext&, DWORD, std::optional<Bytes>) { fail(E_ACCESSDENIED); }

std::shared_ptr<KeyContextSlot> BundleStoreView::keyContextSlot(std::int64_t, bool make) {
    return make ? std::make_shared<KeyContextSlot>() : nullptr; // nothing else shares it
}

} // namespace wincrypt
