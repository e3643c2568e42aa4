#include "certificate_walk.h"

#include "failure.h"
#include "module_failure.h"
#include "toolkit_bytes.h"

#include <memory>

namespace tvkstore {

namespace {

// One walk over items that hold a certificate. The iterator stands behind the item that failed, so the walk
// can go on.
template <typename Next, typename Visit, typename Fail>
void walkItems(Next const& next, Visit const& visit, Fail&& fail) {
    for (;;) {
        try {
            std::unique_ptr<std::remove_pointer_t<decltype(next())>> const item(next());
            if (item == nullptr) {
                return;
            }
            visit(*item);
        } catch (TVKException const& exception) {
            fail(exception);
        }
    }
}

// Reports what can't be read, and remembers that there was something.
class Reporter {
public:
    explicit Reporter(Session& session) : session_(session) { session.relayLayerLog(); }

    void operator()(TVKException const& exception) {
        ++failures_;
        session_.relayLayerLog();
        report(moduleFailure("a certificate of store " + session_.options().store + " can't be read",
                             exception));
    }

    // A key that couldn't be read where its certificate can.
    void compareWith(KeysByCertificate const& withKey) {
        if (withKey.failures > failures_) {
            failures_ = withKey.failures;
            report(Failure(ExitCode::failed, "a private key of store " + session_.options().store +
                                                 " can't be read: its certificate is shown without one"));
        }
    }

    // A damaged entry that the layer passed by, and a store that failed in the middle, look like nothing in
    // the walk.
    bool finish() { return !session_.relayLayerLog() && failures_ == 0; }

private:
    Session& session_;
    std::size_t failures_ = 0;
};

} // namespace

bool walkCertificates(Session& session, TVKCspManager& store, Certificates which,
                      std::function<void(CertificateView const&)> const& visit) {
    if (which == Certificates::withKey) {
        return walkKeyItems(session, store,
                            [&](CertificateView const& view, TVKKeyCertItem const&) { visit(view); });
    }
    Reporter reporter(session);
    KeysByCertificate const withKey = keysByCertificate(store);
    std::unique_ptr<TVKCspManager::Iterator> const iterator(store.getCertIterator());
    walkItems([&] { return store.getNextCertItem(*iterator); },
              [&](TVKCertItem const& item) {
                  CertificateView view = viewCertificate(item);
                  view.hasKey = withKey.keys.contains(view.encoding);
                  visit(view);
              },
              reporter);
    reporter.compareWith(withKey);
    return reporter.finish();
}

bool walkKeyItems(Session& session, TVKCspManager& store,
                  std::function<void(CertificateView const&, TVKKeyCertItem const&)> const& visit) {
    Reporter reporter(session);
    std::unique_ptr<TVKCspManager::Iterator> const iterator(store.getKeyCertIterator());
    walkItems([&] { return store.getNextKeyCertItem(*iterator); },
              [&](TVKKeyCertItem const& item) {
                  CertificateView view = viewCertificate(item.getCertItem());
                  view.hasKey = true;
                  visit(view, item);
              },
              reporter);
    return reporter.finish();
}

KeysByCertificate keysByCertificate(TVKCspManager& store) {
    std::unique_ptr<TVKCspManager::Iterator> const iterator(store.getKeyCertIterator());
    KeysByCertificate found;
    walkItems([&] { return store.getNextKeyCertItem(*iterator); },
              [&](TVKKeyCertItem const& item) {
                  found.keys.emplace(bytesOf(item.getCertificateDER()), item.getKey());
              },
              [&](TVKException const&) { ++found.failures; });
    return found;
}

} // namespace tvkstore
