// get, put, mkdir, mkkey and rm.

#include "tools/commands.h"
#include "tools/failure.h"
#include "tools/files.h"
#include "tools/replace.h"
#include "tools/room.h"
#include "tools/session.h"
#include "tools/walk.h"

namespace tools {
namespace {

const std::string nothingChanged = "nothing was changed";

ksigil_object file(Session& session, const std::string& path) {
    const ksigil_object object = session.object(path);
    if (object.type == KSIGIL_DIRECTORY) {
        throw Failure(path + " is a directory: export takes a tree out, and import in");
    }
    if (object.type != KSIGIL_FILE) {
        throw Failure(path + " is a key: its value is never read back");
    }
    return object;
}

void putRange(Session& session, const Options& options, const Bytes& content) {
    const std::string& path = *options.path;
    const ksigil_object object = file(session, path);
    const std::uint32_t offset = *options.offset;
    if (offset > object.size || content.size() > object.size - offset) {
        throw Failure(path + " has " + std::to_string(object.size) +
                      " bytes, and keeps its size: " + std::to_string(content.size()) +
                      " bytes at " + std::to_string(offset) + " don't fit");
    }
    session.stand(path + " may have a part of the bytes");
    session.progress().expect(content.size());
    session.write(path, offset, content);
}

void putOver(Session& session, const Options& options, const ksigil_object& old,
             const Bytes& content) {
    const std::string& path = *options.path;
    const bool isPrivate = old.attribute == KSIGIL_PRIVATE;
    if (!options.isForced) {
        throw Failure(path + " exists already: --force replaces it");
    }
    if (options.isPrivate && !isPrivate) {
        throw Failure(path + " is public, and would stay so: remove it first");
    }
    if (isPrivate || session.object(directoryOf(path)).attribute == KSIGIL_PRIVATE) {
        session.requireLogin();
    }
    Room room;
    if (options.isInPlace) {
        session.progress().expect(content.size());
        room.replaceInPlace(old.size, std::ssize(content));
        room.require(session);
        replaceInPlace(session, path, old, content, isPrivate);
    } else {
        session.progress().expect(2 * content.size());
        room.replace(old.size, std::ssize(content));
        room.require(session, ", or take the risk of --in-place");
        replaceFile(session, path, content, isPrivate);
    }
}

const char* putWhole(Session& session, const Options& options, const Bytes& content) {
    const std::string& path = *options.path;
    if (session.find(path)) {
        putOver(session, options, file(session, path), content);
        return "replaced";
    }
    Room room;
    room.make(std::ssize(content));
    room.require(session);
    session.progress().expect(content.size());
    makeFile(session, path, content, options.isPrivate);
    return "made";
}

}  // namespace

void get(const Options& options, Report& report) {
    const std::string& path = *options.path;
    const std::size_t offset = options.offset.value_or(0);
    ksigil_object object{};
    Bytes content;
    Session session(options);
    session.run([&] {
        object = file(session, path);
        if (offset > object.size) {
            throw Failure(path + " has " + std::to_string(object.size) +
                          " bytes: there is none at " + std::to_string(offset));
        }
        content = session.read(path, offset, options.length.value_or(object.size - offset));
    });
    if (options.json && options.output == "-") {
        report.content = content;
    } else {
        putOut(options.output, content, object.attribute == KSIGIL_PRIVATE, offset);
    }
    report.add(path, object);
}

void put(const Options& options, Report& report) {
    const std::string& path = *options.path;
    const Bytes content = readFile(options.input, KSIGIL_MAX_FILE_SIZE);
    Session session(options);
    session.run([&] {
        session.stand(nothingChanged);
        const char* done = "written";
        if (options.offset) {
            putRange(session, options, content);
        } else {
            done = putWhole(session, options, content);
        }
        session.stand(path + " is " + done);
        report.add(path, session.object(path), done);
    });
}

void makeDirectory(const Options& options, Report& report) {
    const std::string& path = *options.path;
    Session session(options);
    session.run([&] {
        session.makeDirectory(path, options.isPrivate);
        session.stand(path + " is made");
        report.add(path, session.object(path), "made");
    });
}

void makeKey(const Options& options, Report& report) {
    const std::string& path = *options.path;
    Bytes value;
    if (!options.input.empty()) {
        value = readFile(options.input, KSIGIL_KEY_LENGTH);
        if (value.size() != KSIGIL_KEY_LENGTH) {
            throw Failure("a key's value has 16 bytes, and not " + std::to_string(value.size()));
        }
    }
    Session session(options);
    session.run([&] {
        session.stand(nothingChanged);
        session.makeKey(path, options.isTwoFactor);
        if (!options.input.empty()) {
            session.stand("the key " + path + " is without its value: remove it");
            session.writeKey(path, value);
        }
        session.stand("the key " + path + " is made");
        report.add(path, session.object(path), "made");
    });
}

void remove(const Options& options, Report& report) {
    const std::string& path = *options.path;
    if (path == rootPath && !(options.isForced && options.isRecursive)) {
        throw Misuse("3f00 is all that the token holds: -r --force removes it");
    }
    Session session(options);
    session.run([&] {
        const ksigil_object object = session.object(path);
        if (options.isRecursive) {
            session.stand("what was removed so far stays removed");
            session.removeTree(path);
        } else {
            session.remove(path);
        }
        report.add(path, object, "removed");
    });
}

}  // namespace tools
