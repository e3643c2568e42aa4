// The token worker: a process that has one PKCS#11 module loaded and answers the layer's requests, one after
// the other. A module that hangs, crashes or can't bear a fork does so here and not in the host. It is
// started by the layer with its end of the connection as descriptor 3 and ends with the connection.
#define P11_KIT_FUTURE_UNSTABLE_API
#include "core_file.h"
#include "pkcs11_token.h"
#include "terminal.h"

#include <p11-kit/p11-kit.h>

#include <cerrno>
#include <csignal>
#include <iterator>
#include <list>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace wincrypt {
namespace {

constexpr int connection = 3;

bool receive(void* buffer, std::size_t size) {
    auto* octets = static_cast<std::uint8_t*>(buffer);
    while (size != 0) {
        ssize_t const count = ::recv(connection, octets, size, 0);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        octets += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

bool send(ByteView octets) {
    while (!octets.empty()) {
        ssize_t const count = ::send(connection, octets.data(), octets.size(), MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        octets = octets.subspan(static_cast<std::size_t>(count));
    }
    return true;
}

// The host is gone while a call into the module, or a question to a person, lasts.
[[noreturn]] void endWithHost() {
    sigset_t all; // signals are for the thread that asks the person
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_BLOCK, &all, nullptr);
    pollfd waited{connection, POLLRDHUP, 0};
    while (::poll(&waited, 1, -1) <= 0 || (waited.revents & (POLLRDHUP | POLLHUP | POLLERR)) == 0) {}
    constexpr useconds_t ordinaryEnd = 500'000;
    ::usleep(ordinaryEnd); // enough for an idle worker to end by itself
    restoreTerminal();
    ::_exit(0);
}

class Worker {
public:
    explicit Worker(std::string name) : name_(std::move(name)) {}
    ~Worker() {
        tokens_.clear();
        if (module_)
            module_->finalise();
    }
    Worker(Worker const&) = delete;
    Worker& operator=(Worker const&) = delete;

    void serve() {
        for (;;) {
            std::uint32_t size = 0;
            if (!receive(&size, sizeof size) || size > longestMessage)
                return;
            SecureBytes request(size);
            if (!receive(request.data(), size) || !answer(request))
                return;
        }
    }

private:
    bool answer(ByteView request) {
        MessageWriter result;
        TokenAnswer kind = TokenAnswer::done;
        DWORD error = ERROR_SUCCESS;
        CK_FLAGS flags = 0;
        std::string detail;
        try {
            perform(request, result);
        } catch (WantsPin const& wanted) {
            kind = wanted.forKey ? TokenAnswer::wantsPin : TokenAnswer::wantsLogin;
            flags = wanted.flags;
        } catch (TokenAbsent const& failure) {
            kind = TokenAnswer::absent;
            error = publishedValue(failure.value);
            detail = failure.text();
        } catch (Pkcs11Failure const& failure) {
            kind = spoilsModule(failure.value) ? TokenAnswer::lost : TokenAnswer::failed;
            error = publishedValue(failure.value);
            detail = failure.text();
        } catch (Failure const& failure) {
            kind = TokenAnswer::failed;
            error = failure.code();
        } catch (std::exception const& exception) {
            kind = TokenAnswer::lost;
            error = errorValue(NTE_FAIL);
            detail = exception.what();
        }
        MessageWriter head;
        head.word(static_cast<std::uint32_t>(kind)).word(error).text(detail);
        head.word(static_cast<std::uint32_t>(flags));
        ByteView const tail = kind == TokenAnswer::done ? result.view() : ByteView{};
        auto const size = static_cast<std::uint32_t>(head.view().size() + tail.size());
        return send({reinterpret_cast<std::uint8_t const*>(&size), sizeof size}) && send(head.view()) &&
               send(tail);
    }

    void perform(ByteView request, MessageWriter& out) {
        MessageReader in(request);
        auto const operation = static_cast<TokenOperation>(in.word());
        if (operation == TokenOperation::askAtTerminal)
            return writeAll(out, askTerminal(in.text()));
        start();
        if (operation == TokenOperation::describe)
            return describeTokens(out);
        Pkcs11Token& token = tokenOf(readTokenDescription(in));
        switch (operation) {
        case TokenOperation::describe:
        case TokenOperation::askAtTerminal:
            return;
        case TokenOperation::listKeys: {
            bool const withLogin = in.word() != 0;
            return write(out, token.listKeys(withLogin, in.text()));
        }
        case TokenOperation::login: {
            bool const byPerson = in.word() != 0;
            return token.login(byPerson, in.bytes());
        }
        case TokenOperation::sign:
        case TokenOperation::decrypt: {
            TokenKeyRecord const key = readTokenKey(in);
            ByteView const input = in.bytes();
            KeyPin pin;
            pin.given = in.word() != 0;
            pin.pin = in.bytes();
            out.bytes(operation == TokenOperation::sign ? token.sign(key, input, pin)
                                                        : token.decrypt(key, input, pin));
            return;
        }
        case TokenOperation::generate:
        case TokenOperation::import: {
            NewKey key{readTokenKey(in), false};
            key.exportable = in.word() != 0;
            return write(out, operation == TokenOperation::generate ? token.generate(key, in.word())
                                                                    : token.import(key, in.bytes()));
        }
        case TokenOperation::exportKey:
            return writeAll(out, token.exportKey(readTokenKey(in)));
        case TokenOperation::certificates:
            return writeAll(out, token.certificates(in.bytes()));
        case TokenOperation::setCertificate: {
            Pkcs11Token::NewCertificate certificate;
            certificate.id = in.bytes();
            certificate.container = in.text();
            certificate.encoding = in.bytes();
            certificate.subject = in.bytes();
            certificate.issuer = in.bytes();
            certificate.serialNumber = in.bytes();
            return token.setCertificate(certificate);
        }
        case TokenOperation::removeKey:
            return token.removeKey(readTokenKey(in));
        case TokenOperation::removeContainer:
            out.word(token.removeContainer(in.text()));
            return;
        case TokenOperation::random:
            out.bytes(token.random(in.word()));
            return;
        }
        fail(SCARD_F_COMM_ERROR);
    }

    void start() {
        if (module_)
            return;
        auto loaded = Pkcs11Module::load(name_);
        if (!loaded)
            fail(NTE_PROV_DLL_NOT_FOUND);
        loaded->initialise();
        module_ = loaded;
    }

    void describeTokens(MessageWriter& out) {
        std::vector<TokenDescription> found;
        for (CK_SLOT_ID const slot : module_->slotsWithTokens()) {
            auto const info = module_->tokenInfoIfThere(slot); // or it is pulled while they are listed
            if (info && (info->flags & CKF_TOKEN_INITIALIZED) != 0 &&
                module_->hasMechanism(slot, CKM_RSA_PKCS))
                found.push_back(describe(*info));
        }
        out.word(static_cast<std::uint32_t>(found.size()));
        for (TokenDescription const& token : found)
            write(out, token);
    }

    Pkcs11Token& tokenOf(TokenDescription description) {
        for (auto& [known, token] : tokens_)
            if (known == description)
                return token;
        return tokens_
            .emplace_back(std::piecewise_construct, std::forward_as_tuple(description),
                          std::forward_as_tuple(*module_, description))
            .second;
    }

    static std::vector<SecureBytes> askTerminal(std::string const& prompt) {
        std::vector<SecureBytes> answers;
        if (auto answer = askAtTerminal(prompt))
            answers.push_back(std::move(*answer));
        return answers;
    }

    static void writeAll(MessageWriter& out, std::vector<SecureBytes> const& values) {
        out.word(static_cast<std::uint32_t>(values.size()));
        for (SecureBytes const& value : values)
            out.bytes(value);
    }

    std::string const name_;
    std::optional<Pkcs11Module> module_;
    std::list<std::pair<TokenDescription, Pkcs11Token>> tokens_;
};

} // namespace
} // namespace wincrypt

int main(int argumentCount, char** arguments) {
    if (argumentCount != 3)
        return 2;
    // The host isn't to have a child that it doesn't know of: it waits for the first process, which is over
    // at once.
    if (pid_t const child = ::fork(); child != 0)
        ::_exit(child > 0 ? 0 : 1);
    ::close_range(wincrypt::connection + 1, ~0u, 0);
    wincrypt::leaveNoCoreFile(); // it could hold a PIN
    // What the terminal sends to all its processes is for the host to act on.
    for (int const signal : {SIGINT, SIGQUIT, SIGHUP, SIGTERM})
        ::signal(signal, SIG_IGN);
    p11_kit_set_progname(arguments[2]);
    std::thread(wincrypt::endWithHost).detach();
    wincrypt::Worker(arguments[1]).serve();
    return 0;
}
