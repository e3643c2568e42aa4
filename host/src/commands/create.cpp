#include "argument_checks.h"
#include "certificate_json.h"
#include "commands/commands.h"
#include "failure.h"
#include "module_failure.h"
#include "name_text.h"
#include "toolkit_bytes.h"

#include <tvkcore/asn/tvkasnutility.h>

#include <array>
#include <charconv>
#include <chrono>
#include <iostream>
#include <memory>
#include <optional>

namespace tvkstore {

namespace {

struct CreateArguments {
    std::string label;
    std::string subject;
    std::string days;
    std::string digest = "default";
};

// What signs the new certificate. Without an identifier the provider decides.
struct SignatureAlgorithm {
    std::string_view digest;
    unsigned long* identifier;
};

// The address of what another library holds is settled only when the program starts.
std::array<SignatureAlgorithm, 3> const kAlgorithms{{{"default", nullptr},
                                                     {"md5", TVKASNOID::VALUE_MD5WithRSASignature},
                                                     {"sha1", TVKASNOID::VALUE_SHA1WithRSASignature}}};

SignatureAlgorithm const* findAlgorithm(std::string_view digest) {
    auto const* const found = std::find_if(kAlgorithms.begin(), kAlgorithms.end(),
                                           [&](auto const& known) { return known.digest == digest; });
    return found == kAlgorithms.end() ? nullptr : found;
}

std::string checkDigest(std::string const& name) {
    return findAlgorithm(name) != nullptr ? ""
                                          : "no digest \"" + name + "\": it is one of default, md5, sha1";
}

std::optional<long> parseDays(std::string const& text) {
    long days = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), days);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(days) : std::nullopt;
}

std::string checkDays(std::string const& text) {
    return parseDays(text) ? "" : '"' + text + "\" isn't a number of days";
}

// Years outside these the platform has no time for.
constexpr std::chrono::year kFirstYear(1601);
constexpr std::chrono::year kLastYear(9999);

std::chrono::sys_seconds endAfter(long days) {
    using namespace std::chrono;
    auto const now = floor<seconds>(system_clock::now());
    auto const today = floor<std::chrono::days>(now);
    auto const earliest = (sys_days(kFirstYear / January / 1) - today).count() + 1;
    auto const latest = (sys_days(kLastYear / December / 31) - today).count();
    if (days < earliest || days > latest) {
        throw Failure(ExitCode::usage, "--days: the end lies outside the years 1601 to 9999",
                      {"possible are " + std::to_string(earliest) + " to " + std::to_string(latest)});
    }
    return now + std::chrono::days(days);
}

void setTime(TVKASNTarnTime& time, std::chrono::sys_seconds moment) {
    using namespace std::chrono;
    auto const day = floor<days>(moment);
    year_month_day const date(day);
    hh_mm_ss const clock(moment - day);
    struct tm parts {};
    parts.tm_year = int(date.year()) - 1900;
    parts.tm_mon = static_cast<int>(unsigned(date.month())) - 1;
    parts.tm_mday = static_cast<int>(unsigned(date.day()));
    parts.tm_hour = static_cast<int>(clock.hours().count());
    parts.tm_min = static_cast<int>(clock.minutes().count());
    parts.tm_sec = static_cast<int>(clock.seconds().count());
    if (time.set_value(parts) != TVKASN_OK) {
        throw Failure(ExitCode::failed, "the end of the validity can't be encoded");
    }
}

// A container that exists is the one failure that another name mends.
[[noreturn]] void raiseNotCreated(std::string const& label, TVKException const& exception) {
    constexpr std::uint32_t exists = 0x8009000F;
    Failure failure = moduleFailure("can't create " + label, exception);
    if (systemCodeOf(exception) == exists) {
        failure = Failure(failure.exitCode(), failure.what(),
                          {"the label is the name of the new key container too, and there is one of this "
                           "name: take another --label, or delete what has it"});
    }
    throw failure;
}

ExitCode create(Session& session, CreateArguments const& arguments) {
    // All that the module would fail at only after it made the container.
    std::string const subject = encodeName("--subject", arguments.subject);
    TVKASNValidity validity(TVKASNNotSecure);
    setTime(validity.notBefore, endAfter(0));
    setTime(validity.notAfter, endAfter(*parseDays(arguments.days)));
    TVKASNAlgorithmID algorithm(TVKASNNotSecure);
    if (unsigned long* const identifier = findAlgorithm(arguments.digest)->identifier) {
        algorithm.algorithm.set_value(identifier, TVKASNOID::RSA_LENGTH);
    }

    std::unique_ptr<TVKCspManager> const store = session.openStore(kKeyStore);
    TVKString const label(arguments.label.data(), static_cast<unsigned int>(arguments.label.size()));
    std::unique_ptr<TVKKeyCertItem> item;
    try {
        item.reset(store->createSelfSignCertificate(label, TVKBuffer(viewOf(subject)), validity, algorithm,
                                                    TVKBuffer()));
    } catch (TVKException const& exception) {
        session.relayLayerLog();
        raiseNotCreated(arguments.label, exception);
    }
    if (item == nullptr) {
        throw Failure(ExitCode::failed, "can't create " + arguments.label);
    }
    CertificateView view = viewCertificate(item->getCertItem());
    view.hasKey = true;
    if (session.options().json) {
        writeJson(session.output(), toJson(view));
    } else {
        session.output().write(printable("created " + view.name + " in store " + kKeyStore + ": " +
                                         view.subject + ", serial number " + view.serial + ", until " +
                                         view.notAfter) +
                               '\n');
    }
    return ExitCode::done;
}

} // namespace

Work defineCreate(CLI::App& command) {
    auto const arguments = std::make_shared<CreateArguments>();
    command.add_option("--label", arguments->label, "the name of the new item and of its key container")
        ->required()
        ->type_name("TEXT")
        ->check(checkNotEmpty)
        ->check(checkLabel);
    command.add_option("--subject", arguments->subject, "subject and issuer as RFC 2253 writes a name")
        ->required()
        ->type_name("NAME")
        ->check(checkNotEmpty);
    command
        .add_option("--days", arguments->days,
                    "for how many days from now it is valid; a number below 0 for an end in the past")
        ->required()
        ->type_name("N")
        ->check(checkDays);
    command.add_option("--digest", arguments->digest, "md5, sha1, or default: the provider's own")
        ->type_name("NAME")
        ->check(checkDigest);
    return [arguments](Session& session) { return create(session, *arguments); };
}

} // namespace tvkstore
