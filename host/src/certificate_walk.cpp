#include "certificate_walk.h"

#include "module_failure.h"

#include <set>

namespace tvkstore {

namespace {

// One walk over items that hold a certificate. The iterator stands behind the item that failed, so the walk
// can go on.
template <typename Next, typename Visit, typename Fail>
void walkItems(Next const& next, Visit const& visit, Fail const& fail) {
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

std::string bytesOf(TVKBuffer const& buffer) {
    return {reinterpret_cast<char const*>(buffer.getValue()), buffer.getLength()};
}

std::set<std::string> encodingsWithKey(TVKCspManager& store) {
    std::unique_ptr<TVKCspManager::Iterator> const iterator(store.getKeyCertIterator());
    std::set<std::string> encodings;
    // What fails here fails in the walk over all certificates as well, which reports it.
    walkItems([&] { return store.getNextKeyCertItem(*iterator); },
              [&](TVKKeyCertItem const& item) { encodings.insert(bytesOf(item.getCertificateDER())); },
              [](TVKException const&) {});
    return encodings;
}

} // namespace

bool walkCertificates(Session& session, TVKCspManager& store, Certificates which,
                      std::function<void(CertificateView const&)> const& visit) {
    bool complete = true;
    auto const fail = [&](TVKException const& exception) {
        complete = false;
        session.relayLayerLog();
        report(
            moduleFailure("a certificate of store " + session.options().store + " can't be read", exception));
    };
    session.relayLayerLog();
    if (which == Certificates::withKey) {
        std::unique_ptr<TVKCspManager::Iterator> const iterator(store.getKeyCertIterator());
        walkItems([&] { return store.getNextKeyCertItem(*iterator); },
                  [&](TVKKeyCertItem const& item) {
                      CertificateView view = viewCertificate(item.getCertItem());
                      view.hasKey = true;
                      visit(view);
                  },
                  fail);
    } else {
        std::set<std::string> const withKey = encodingsWithKey(store);
        std::unique_ptr<TVKCspManager::Iterator> const iterator(store.getCertIterator());
        walkItems([&] { return store.getNextCertItem(*iterator); },
                  [&](TVKCertItem const& item) {
                      CertificateView view = viewCertificate(item);
                      view.hasKey = withKey.contains(view.encoding);
                      visit(view);
                  },
                  fail);
    }
    // A damaged entry that the layer passed by, and a store that failed in the middle, look like nothing
    // here.
    return !session.relayLayerLog() && complete;
}

} // namespace tvkstore
