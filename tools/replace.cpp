#include "tools/replace.h"

#include <algorithm>

#include "tools/failure.h"
#include "tools/names.h"

namespace tools {
namespace {

constexpr std::uint16_t lastId = 0xFFFE;

// From the end: ids are given from the start, as a rule.
std::string freePathBeside(Session& session, const std::string& path) {
    const std::string directory = directoryOf(path);
    const std::vector<ksigil_object> siblings = session.children(directory);
    if (siblings.size() == KSIGIL_MAX_CHILDREN) {
        throw Failure(directory + " has 1024 objects, the most, and no place for a copy of " +
                      path + ": remove one, or take the risk of --in-place");
    }
    const auto isTaken = [&](std::uint16_t id) {
        return !canBeGiven(id) || std::any_of(siblings.begin(), siblings.end(),
                                              [=](const auto& one) { return one.id == id; });
    };
    std::uint16_t id = lastId;
    while (isTaken(id)) {  // there are far more ids than siblings
        --id;
    }
    return directory + idText(id);
}

// Nothing is lost yet, and nothing of the copy is to stay. Where the removal was not refused, it
// may have been carried out: then the copy is all there is.
void removeOld(Session& session, const std::string& path, const std::string& copy) {
    try {
        session.remove(path);
    } catch (const Failure& failure) {
        if (!session.removeAgain(copy, failure)) {
            session.stand("the new content stands whole in " + copy + ", and the old one in " +
                          path + " if that is there");
        }
        throw;
    }
}

}  // namespace

std::string directoryOf(const std::string& path) {
    return path.substr(0, path.size() - digitsPerLevel);
}

void makeFile(Session& session, const std::string& path, const Bytes& content, bool isPrivate) {
    session.makeFile(path, content.size(), isPrivate);
    try {
        session.write(path, 0, content);
    } catch (const Failure& failure) {
        if (!session.removeAgain(path, failure)) {
            session.stand("an incomplete " + path + " is left");
        }
        throw;
    }
}

void replaceFile(Session& session, const std::string& path, const Bytes& content, bool isPrivate) {
    const std::string copy = freePathBeside(session, path);
    tellAside("until " + path + " is replaced, its new content stands in " + copy);
    makeFile(session, copy, content, isPrivate);
    removeOld(session, path, copy);
    session.stand("the new content stands whole in " + copy + ": get it, remove " + path +
                  " if it is there, put it there anew" + (isPrivate ? " with --private" : "") +
                  ", and remove " + copy);
    session.makeFile(path, content.size(), isPrivate);
    session.write(path, 0, content);
    session.stand(path + " has its new content; remove " + copy);
    session.remove(copy);
}

void replaceInPlace(Session& session, const std::string& path, const ksigil_object& old,
                    const Bytes& content, bool isPrivate) {
    session.stand("the content of " + path + " is lost");
    if (old.size != content.size()) {
        session.remove(path);
        session.makeFile(path, content.size(), isPrivate);
    }
    session.write(path, 0, content);
}

}  // namespace tools
