// readers, info and ls.

#include "tools/commands.h"
#include "tools/failure.h"
#include "tools/session.h"
#include "tools/walk.h"

namespace tools {
namespace {

using Style = Report::Style;

void listOne(Session& session, const std::string& path, Report& report) {
    const ksigil_object object = session.object(path);
    if (object.type != KSIGIL_DIRECTORY) {
        report.add(path, object);
        return;
    }
    const std::vector<ksigil_object> children = session.children(path);
    report.objects.emplace();
    for (const ksigil_object& child : children) {
        report.add(path + idText(child.id), child);
    }
}

void listAll(Session& session, const std::string& path, Report& report) {
    for (const Node& node : walk(session, path)) {
        report.add(node.path, node.object);
    }
}

}  // namespace

void listReaders(const Options&, Report& report) {
    std::vector<ksigil_reader> readers;
    std::size_t count = 0;
    std::uint32_t result = ksigil_readers(nullptr, 0, &count);
    while (result == KSIGIL_BUFFER_TOO_SMALL) {  // more may come in between
        readers.resize(count);
        result = ksigil_readers(readers.data(), readers.size(), &count);
    }
    if (result != KSIGIL_OK) {
        throw Failure("cannot list the readers", result);
    }
    readers.resize(count);
    report.readers = readers;
}

void showInfo(const Options& options, Report& report) {
    Session session(options);
    session.run([&] {
        if (options.path) {
            report.style = Style::details;
            report.add(*options.path, session.object(*options.path));
        } else {
            report.token = session.info();
        }
    });
}

void list(const Options& options, Report& report) {
    const Style flat = options.isLong ? Style::kinds : Style::names;
    const Style tree = options.isLong ? Style::treeOfKinds : Style::tree;
    report.style = options.isRecursive ? tree : flat;
    Session session(options);
    session.run([&] {
        (options.isRecursive ? listAll : listOne)(session, options.pathOr(rootPath), report);
    });
}

}  // namespace tools
