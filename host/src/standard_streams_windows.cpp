#include "standard_streams.h"

#include "descriptors.h"

#include <cstdlib>
#include <fcntl.h>
#include <initializer_list>
#include <io.h>

namespace tvkstore {

void secureStandardStreams() {
    for (int const stream : {kStandardInput, kStandardOutput, kStandardError}) {
        // Below 0 for a stream that is closed, and for one that a program without a console never had.
        if (_get_osfhandle(stream) >= 0) {
            continue;
        }
        // The wrong direction makes every use fail.
        int const nothing = _wopen(L"NUL", stream == kStandardInput ? _O_WRONLY : _O_RDONLY);
        if (nothing < 0 || (nothing != stream && _dup2(nothing, stream) != 0)) {
            std::abort();
        }
        if (nothing != stream) {
            _close(nothing);
        }
    }
    // Results are bytes.
    _setmode(kStandardOutput, _O_BINARY);
}

} // namespace tvkstore
