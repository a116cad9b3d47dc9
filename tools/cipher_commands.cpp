// encrypt and decrypt.

#include "tools/commands.h"
#include "tools/files.h"
#include "tools/session.h"

namespace tools {
namespace {

constexpr std::size_t blockLength = 8;  // encryption adds up to one

Bytes transformed(Session& session, const Options& options, bool encrypts, const Bytes& input) {
    Bytes output(input.size() + blockLength);
    std::size_t length = 0;
    const std::string what = encrypts ? "cannot encrypt" : "cannot decrypt";
    session.look(what, [&](ksigil_token* token) {
        const std::uint8_t* const from = input.data();
        std::uint8_t* const to = output.data();
        if (options.withProtector) {
            return (encrypts ? ksigil_protector_encrypt : ksigil_protector_decrypt)(
                token, from, input.size(), to, output.size(), &length);
        }
        return (encrypts ? ksigil_encrypt : ksigil_decrypt)(
            token, options.path->c_str(), from, input.size(), to, output.size(), &length);
    });
    output.resize(length);
    return output;
}

// What was decrypted is its owner's alone.
void run(const Options& options, Report& report, bool encrypts) {
    const Bytes input = readFile(options.input, KSIGIL_MAX_CIPHER_LENGTH);
    Bytes output;
    Session session(options);
    try {
        session.run([&] { output = transformed(session, options, encrypts, input); });
    } catch (const Failure& failure) {
        throw failure.result() == noValue
            ? failure.with("the key has no value: remove it, and make it with mkkey --value-from")
            : Failure(failure);
    }
    if (options.json && options.output == "-") {
        report.content = output;
    } else {
        putOut(options.output, output, !encrypts);
    }
}

}  // namespace

void encrypt(const Options& options, Report& report) {
    run(options, report, true);
}

void decrypt(const Options& options, Report& report) {
    run(options, report, false);
}

}  // namespace tools
