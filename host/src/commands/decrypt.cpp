#include "commands/commands.h"
#include "module_failure.h"
#include "result_output.h"
#include "toolkit_bytes.h"
#include "working_key.h"

namespace tvkstore {

namespace {

struct DecryptArguments {
    ItemName item;
    InputOption input;
    ResultOutput output;
};

// More than the block of any key.
constexpr std::size_t kLargestInput = 65536;

void checkLength(std::string const& name, std::size_t length, WorkingKey const& key) {
    std::size_t const block = key.blockLength();
    if (length != block) {
        throw Failure(ExitCode::failed, name + ": " + std::to_string(length) +
                                            " bytes, and a block of this key has " + std::to_string(block));
    }
}

ExitCode decrypt(Session& session, DecryptArguments& arguments) {
    arguments.item.check();
    Input input(arguments.input.path());
    arguments.output.open(session, input);
    std::string const data = input.readAll(kLargestInput);
    WorkingKey const key = findPrivateKey(session, arguments.item);
    checkLength(input.name(), data.size(), key);
    auto const algorithm =
        own(key.factory->make_RSAPKCS_DecryptionAlgorithm(key.key, nullptr), "can't decrypt");
    TVKBuffer const result = attempt("can't decrypt", [&] { return algorithm->decryptData(viewOf(data)); });
    arguments.output.write(session, bytesOf(result));
    return ExitCode::done;
}

} // namespace

Work defineDecrypt(CLI::App& command) {
    auto const arguments = std::make_shared<DecryptArguments>();
    arguments->item.define(command);
    arguments->input.define(command);
    arguments->output.define(command);
    return [arguments](Session& session) { return decrypt(session, *arguments); };
}

} // namespace tvkstore
