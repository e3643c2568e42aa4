// Answers of a token worker, whose process runs a module of somebody else's.
#include "fuzz.h"
#include "token.h"

using namespace wincrypt;

int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    fuzz::attempt<Failure>([&] {
        TokenReply const reply(SecureBytes(data, data + size));
        fuzz::require(reply.kind <= TokenAnswer::wantsPin, "a kind that is known");
        bool const failed = reply.kind > TokenAnswer::done && reply.kind < TokenAnswer::wantsLogin;
        fuzz::require(!failed || reply.error != ERROR_SUCCESS, "a failure says so");
        fuzz::attempt<Failure>([&] { reply.values(); });
        MessageReader descriptions = reply.result();
        fuzz::attempt<Failure>([&] { readTokenDescription(descriptions); });
        MessageReader in = reply.result();
        MessageWriter again;
        write(again, readTokenKeys(in));
        fuzz::require(again.view().size() <= size, "no more is read than there is");
    });
    return 0;
}
