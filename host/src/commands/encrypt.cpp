#include "commands/commands.h"
#include "module_failure.h"
#include "result_output.h"
#include "toolkit_bytes.h"
#include "working_key.h"

namespace tvkstore {

namespace {

struct EncryptArguments {
    ItemName item;
    InputOption input;
    ResultOutput output;
};

// More than the block of any key holds.
constexpr std::size_t kLargestInput = 65536;

// What goes from each block to the padding (RFC 8017, 7.2.1).
constexpr std::size_t kPadding = 11;

// The length at which the module makes a signature instead, as handshakes of old TLS need it.
constexpr std::size_t kSignedLength = 36;

void checkLength(std::string const& name, std::size_t length, WorkingKey const& key) {
    std::size_t const block = key.blockLength();
    if (length + kPadding > block) {
        throw Failure(ExitCode::usage,
                      name + ": " + std::to_string(length) + " bytes, and this key encrypts at most " +
                          std::to_string(block < kPadding ? 0 : block - kPadding),
                      {"encrypt the data with a symmetric key, and that key with this command"});
    }
}

ExitCode encrypt(Session& session, EncryptArguments& arguments) {
    arguments.item.check();
    Input input(arguments.input.path());
    arguments.output.open(session, input);
    std::string const data = input.readAll(kLargestInput);
    if (data.size() == kSignedLength && arguments.item.certificate().empty()) {
        throw Failure(ExitCode::usage,
                      input.name() + ": 36 bytes are taken for a digest and signed, not encrypted",
                      {"add a byte to the data, or name the certificate by --cert, which takes any length"});
    }
    WorkingKey const key = findPublicKey(session, arguments.item);
    checkLength(input.name(), data.size(), key);
    auto const algorithm = own(key.factory->make_RSAPKCS_EncryptionAlgorithm(key.key), "can't encrypt");
    TVKBuffer const result = attempt("can't encrypt", [&] { return algorithm->encryptData(viewOf(data)); });
    arguments.output.write(session, bytesOf(result));
    return ExitCode::done;
}

} // namespace

Work defineEncrypt(CLI::App& command) {
    auto const arguments = std::make_shared<EncryptArguments>();
    arguments->item.define(command);
    arguments->input.define(command);
    arguments->output.define(command);
    return [arguments](Session& session) { return encrypt(session, *arguments); };
}

} // namespace tvkstore
