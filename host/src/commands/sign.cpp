#include "commands/commands.h"
#include "digests.h"
#include "module_failure.h"
#include "result_output.h"
#include "toolkit_bytes.h"
#include "working_key.h"

namespace tvkstore {

namespace {

struct SignArguments {
    ItemName item;
    std::string digest = kDefaultDigest;
    InputOption input;
    ResultOutput output;
};

ExitCode sign(Session& session, SignArguments& arguments) {
    arguments.item.check();
    Input input(arguments.input.path());
    arguments.output.open(session, input);
    WorkingKey const key = findPrivateKey(session, arguments.item);
    auto const make = findDigest(arguments.digest)->makeSignature;
    auto const algorithm = own(((*key.factory).*make)(key.key), "can't sign");
    TVKBuffer const signature = attempt("can't sign", [&] {
        algorithm->signDataInit();
        for (std::string_view part = input.read(); !part.empty(); part = input.read()) {
            algorithm->signDataUpdate(viewOf(part));
        }
        return algorithm->signDataFinal();
    });
    arguments.output.write(session, bytesOf(signature));
    return ExitCode::done;
}

} // namespace

Work defineSign(CLI::App& command) {
    auto const arguments = std::make_shared<SignArguments>();
    arguments->item.define(command);
    command.add_option("--digest", arguments->digest, "md5 or sha1 (default sha1)")
        ->type_name("NAME")
        ->check(checkProviderDigest);
    arguments->input.define(command);
    arguments->output.define(command);
    return [arguments](Session& session) { return sign(session, *arguments); };
}

} // namespace tvkstore
