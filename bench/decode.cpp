// Decoding each certificate of the machine's trust bundle, from bytes in memory, into an object of its own
// that is given back at once. The toolkit decodes a certificate's structure and leaves values until they are
// asked for; libcrypto decodes all.

#include "support/certificate_series.h"
#include "support/libcrypto.h"
#include "support/module.h"
#include "support/timing.h"

namespace {

std::vector<bench::Bytes> const& roots() {
    static bench::CertificateSeries const series;
    return series.roots();
}

void decodeByToolkit(benchmark::State& state) {
    while (state.KeepRunning()) {
        for (bench::Bytes const& root : roots()) {
            TVKASNx509Certificate certificate(TVKASNNotSecure);
            TVKASNUtility::setDEREncoding(bench::viewOf(root), certificate);
            benchmark::DoNotOptimize(certificate);
        }
    }
    bench::setUnits(state, roots().size());
}
BENCHMARK(decodeByToolkit)->Name("decode/toolkit")->UseRealTime();

void decodeByLibcrypto(benchmark::State& state) {
    while (state.KeepRunning()) {
        for (bench::Bytes const& root : roots()) {
            unsigned char const* at = root.data();
            bench::Crypto<X509> const certificate(d2i_X509(nullptr, &at, static_cast<long>(root.size())));
            if (certificate == nullptr) {
                state.SkipWithError("libcrypto doesn't take a root certificate");
            }
            benchmark::DoNotOptimize(certificate.get());
        }
    }
    bench::setUnits(state, roots().size());
}
BENCHMARK(decodeByLibcrypto)->Name("decode/libcrypto")->UseRealTime();

} // namespace
