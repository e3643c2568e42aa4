#include "argument_checks.h"
#include "bytes.h"
#include "certificate_json.h"
#include "commands/commands.h"
#include "digests.h"
#include "failure.h"
#include "input.h"
#include "module_failure.h"
#include "toolkit_bytes.h"
#include "working_key.h"

namespace tvkstore {

namespace {

struct VerifyArguments {
    ItemName item;
    std::string digest = kDefaultDigest;
    InputOption input;
    std::string signatureFile;
};

// What the module throws for a signature that doesn't fit, at the end of a verification alone.
constexpr int kDoesNotVerify = 578016;

bool verifyFinal(TVKKRYVerificationAlgorithm& algorithm, std::string const& signature) {
    try {
        return algorithm.verifyDataFinal(viewOf(signature));
    } catch (TVKException const& exception) {
        if (exception.getCode() == kDoesNotVerify) {
            return false;
        }
        throw;
    }
}

void check(VerifyArguments& arguments) {
    arguments.item.check();
    if (arguments.item.certificate().empty()) {
        std::string const wrong = checkProviderDigest(arguments.digest);
        if (!wrong.empty()) {
            throw Failure(ExitCode::usage, "--digest: " + wrong, {"--cert FILE takes the other digests too"});
        }
    }
}

ExitCode verify(Session& session, VerifyArguments& arguments) {
    check(arguments);
    std::string const signature = readFile(arguments.signatureFile);
    Input input(arguments.input.path());
    WorkingKey const key = findPublicKey(session, arguments.item);
    auto const make = findDigest(arguments.digest)->makeVerification;
    auto const algorithm = own(((*key.factory).*make)(key.key), "can't verify");
    bool const good = attempt("can't verify", [&] {
        algorithm->verifyDataInit();
        for (std::string_view part = input.read(); !part.empty(); part = input.read()) {
            algorithm->verifyDataUpdate(viewOf(part));
        }
        return verifyFinal(*algorithm, signature);
    });
    // To the module a layer that couldn't verify and a signature that doesn't fit are the same.
    if (!good && session.relayLayerLog()) {
        throw Failure(ExitCode::failed, "can't verify");
    }
    if (session.options().json) {
        writeJson(session.output(), {{"verifies", good}});
    } else {
        session.output().write(good ? "the signature verifies\n" : "the signature does not verify\n");
    }
    return good ? ExitCode::done : ExitCode::no;
}

} // namespace

Work defineVerify(CLI::App& command) {
    auto const arguments = std::make_shared<VerifyArguments>();
    arguments->item.define(command);
    command
        .add_option("--digest", arguments->digest,
                    "md5 or sha1 (the default); with --cert also sha224, sha256, sha384, sha512")
        ->type_name("NAME")
        ->check(checkAnyDigest);
    arguments->input.define(command);
    command.add_option("--signature", arguments->signatureFile, "the file with the signature")
        ->required()
        ->type_name("FILE")
        ->check(checkNotEmpty);
    return [arguments](Session& session) { return verify(session, *arguments); };
}

} // namespace tvkstore
