// export and import.

#include <set>

#include "platform/program/folder.h"
#include "tools/commands.h"
#include "tools/failure.h"
#include "tools/files.h"
#include "tools/folder.h"
#include "tools/merge.h"
#include "tools/replace.h"
#include "tools/session.h"
#include "tools/tar.h"
#include "tools/walk.h"

namespace tools {
namespace {

constexpr const char* standardOutput = "-";

bool isTar(const std::string& destination) {
    return destination == standardOutput || destination.ends_with(".tar");
}

std::vector<Node> walkDirectory(Session& session, const std::string& root) {
    std::vector<Node> nodes = walk(session, root, mostItems + 1);
    if (nodes.front().object.type != KSIGIL_DIRECTORY) {
        throw Failure(root + " is no directory: get takes a file out");
    }
    nodes.erase(nodes.begin());
    return nodes;
}

// What needs a login is read first, so that nothing is read twice for want of one.
void readContents(Session& session, const std::string& root, Tree& tree) {
    std::uint64_t total = 0;
    for (const Item& item : tree) {
        total += item.size;
    }
    session.progress().expect(total);
    for (const std::uint8_t attribute : {KSIGIL_PRIVATE, KSIGIL_PUBLIC}) {
        for (Item& item : tree) {
            if (item.type == KSIGIL_FILE && item.attribute == attribute) {
                item.content = session.read(root + item.path, 0, item.size);
            }
        }
    }
}

Tree takeOut(Session& session, const std::string& root, std::vector<Node>& nodes) {
    Tree tree;
    nodes = walkDirectory(session, root);
    for (const Node& node : nodes) {
        const ksigil_object& object = node.object;
        tree.push_back({node.path.substr(root.size()),
                        object.type,
                        object.attribute,
                        object.type == KSIGIL_FILE ? object.size : 0,
                        {}});
    }
    readContents(session, root, tree);
    return tree;
}

void writeTree(const std::string& destination, const Tree& tree) {
    if (destination == standardOutput) {
        writeTar(platform::standardOutput, "standard output", tree);
    } else if (isTar(destination)) {
        OutputFile file(destination, true);
        writeTar(file.descriptor(), destination, tree);
        file.commit();
    } else {
        writeFolder(destination, tree);
    }
}

Tree readTree(const std::string& source) {
    Intake intake;
    if (source != standardOutput && platform::isFolder(source)) {
        readFolder(source, intake);
    } else {
        const InputFile file(source);
        readTar(file.descriptor(), file.name(), intake);
    }
    return intake.finish();
}

// Values can be neither read nor made up.
void tellKeys(const std::string& root, const Tree& tree, const std::string& words) {
    std::string keys;
    for (const Item& item : tree) {
        if (item.type == KSIGIL_KEY) {
            keys += ' ';
            keys += root;
            keys += item.path;
        }
    }
    if (!keys.empty()) {
        tellAside(words + keys);
    }
}

}  // namespace

void exportTree(const Options& options, Report& report) {
    const std::string& destination = options.output;
    if (destination == standardOutput &&
        (options.json || platform::isTerminal(platform::standardOutput))) {
        throw Misuse("a tar file goes to no terminal, and not among JSON");
    }
    if (isTar(destination)) {
        requireTar();
    } else {
        requireNewFolder(destination);
    }
    const std::string root = options.pathOr(rootPath);
    Tree tree;
    std::vector<Node> nodes;
    Session session(options);
    session.run([&] { tree = takeOut(session, root, nodes); });
    writeTree(destination, tree);
    report.objects.emplace();
    for (const Node& node : nodes) {
        report.add(node.path, node.object, "exported");
    }
    tellKeys(root, tree, "the values of keys stay on the token:");
}

void importTree(const Options& options, Report& report) {
    const std::string root = options.pathOr(rootPath);
    const Tree tree = readTree(options.input);
    Session session(options);
    Merge merge(session, root, tree, options.isForced, report);
    const char* const words = "keys have no values; remove them, and use mkkey --value-from:";
    try {
        session.run([&] { merge.run(); });
    } catch (const Failure&) {
        tellKeys(root, merge.keysWithoutValue(), words);
        throw;
    }
    tellKeys(root, merge.keysWithoutValue(), words);
}

}  // namespace tools
