#include "tools/merge.h"

#include "tools/failure.h"
#include "tools/names.h"
#include "tools/replace.h"

namespace tools {
namespace {

constexpr std::uint32_t keySize = 24;  // what a key counts

std::uint16_t idOf(const Item& item) {
    return static_cast<std::uint16_t>(
        std::stoul(item.path.substr(item.path.size() - digitsPerLevel), nullptr, 16));
}

ksigil_object objectOf(const Item& item) {
    return {idOf(item), item.type, item.attribute, item.type == KSIGIL_KEY ? keySize : item.size};
}

std::string kindOf(std::uint8_t type, std::uint8_t attribute) {
    return std::string(attributeName(attribute)) + ' ' + typeName(type);
}

}  // namespace

Merge::Merge(Session& session, const std::string& root, const Tree& tree, bool overExisting,
             Report& report)
    : session_(session), root_(root), tree_(tree), overExisting_(overExisting), report_(report) {
    report_.style = overExisting ? Report::Style::done : Report::Style::silent;
}

Merge::Directory Merge::directoryAt(const std::string& path, std::uint8_t attribute) {
    Directory directory{needsLogin(attribute), {}};
    for (const ksigil_object& child : session_.children(path)) {
        directory.children.emplace(child.id, child);
    }
    return directory;
}

// The step it takes to have the item at its place; what is there must let it.
Merge::Work Merge::workFor(const Item& item, const Directory& directory) {
    const std::string path = root_ + item.path;
    const auto found = directory.children.find(idOf(item));
    if (found == directory.children.end()) {
        return {Step::make, {}, "made"};
    }
    if (!overExisting_) {
        throw Failure(path + " exists already: --force merges the two");
    }
    const ksigil_object& there = found->second;
    const bool isAlike = there.attribute == item.attribute;
    if (there.type != item.type || (item.type == KSIGIL_KEY && !isAlike)) {
        throw Failure(path + " is a " + kindOf(there.type, there.attribute) + " there, and a " +
                      kindOf(item.type, item.attribute) + " here: remove it first");
    }
    if (item.type == KSIGIL_DIRECTORY) {
        return {Step::leave, there, isAlike ? "was there" : "was there, with another attribute"};
    }
    if (item.type == KSIGIL_KEY) {
        return {Step::leave, there, "was there"};
    }
    const bool isSame =
        isAlike && there.size == item.size && session_.read(path, 0, item.size) == item.content;
    return isSame ? Work{Step::leave, there, "was there"} : Work{Step::replace, there, "replaced"};
}

// What is made needs an id and a place among its siblings, what is replaced a place for its copy.
void Merge::requirePlace(const Item& item, const Work& work, const Directory& directory) const {
    const std::string path = root_ + item.path;
    if (path.size() > longestPath) {
        throw Failure(path + " is deeper than a token's tree");
    }
    if (work.step == Step::make && !canBeGiven(idOf(item))) {
        throw Failure(path + " has an id that no object can be given");
    }
    if (work.step != Step::leave && directory.children.size() >= KSIGIL_MAX_CHILDREN) {
        throw Failure(path + " finds 1024 objects in its directory, the most" +
                      (work.step == Step::replace ? ", and no place for a copy: remove one"
                                                  : ": remove one"));
    }
}

void Merge::planItem(const Item& item, Needs& needs) {
    Directory& directory = directories_.at(item.path.substr(0, item.path.size() - digitsPerLevel));
    const Work work = workFor(item, directory);
    requirePlace(item, work, directory);
    plan_.push_back(work);
    if (work.step == Step::leave) {
        noteWhatIsThere(item, work.old);
        return;
    }
    needs.isLogin = needs.isLogin || directory.isGuarded || needsLogin(item.attribute) ||
                    needsLogin(work.old.attribute);
    const ksigil_object object = objectOf(item);
    if (work.step == Step::replace) {
        needs.room.replace(work.old.size, object.size);
        needs.bytes += 2 * std::uint64_t{item.size};
        return;
    }
    needs.room.make(object.size);
    needs.bytes += item.size;
    directory.children.emplace(object.id, object);
    if (item.type == KSIGIL_DIRECTORY) {
        directories_[item.path] = {needsLogin(item.attribute), {}};
    }
}

void Merge::noteWhatIsThere(const Item& item, const ksigil_object& there) {
    const std::string path = root_ + item.path;
    if (item.type == KSIGIL_DIRECTORY) {
        directories_[item.path] = directoryAt(path, there.attribute);
    } else if (item.type == KSIGIL_KEY && !session_.hasValue(path)) {
        keysWithoutValue_.push_back(item);
    }
}

void Merge::plan() {
    const ksigil_object root = session_.object(root_);
    if (root.type != KSIGIL_DIRECTORY) {
        throw Failure(root_ + " is no directory");
    }
    plan_.clear();
    keysWithoutValue_.clear();
    directories_ = {{"", directoryAt(root_, root.attribute)}};
    Needs needs;
    for (const Item& item : tree_) {
        planItem(item, needs);
    }
    needs.room.require(session_);
    if (needs.isLogin) {
        session_.requireLogin();
    }
    session_.progress().expect(needs.bytes);
}

void Merge::run() {
    if (!isPlanned_) {
        session_.stand("nothing was changed");
        plan();
        isPlanned_ = true;
    }
    for (; done_ < tree_.size(); ++done_) {
        const Item& item = tree_[done_];
        carryOut(item, plan_[done_].step);
        const Work& work = plan_[done_];
        report_.add(root_ + item.path, work.step == Step::leave ? work.old : objectOf(item),
                    work.done);
        session_.stand(std::to_string(done_ + 1) + " of " + std::to_string(tree_.size()) +
                       " objects are done, and --force goes on with the others");
    }
    if (tree_.empty()) {
        report_.objects.emplace();
    }
}

void Merge::carryOut(const Item& item, Step step) {
    const std::string path = root_ + item.path;
    const bool isPrivate = item.attribute == KSIGIL_PRIVATE;
    if (step == Step::replace) {
        replaceFile(session_, path, item.content, isPrivate);
    } else if (step == Step::make && item.type == KSIGIL_FILE) {
        makeFile(session_, path, item.content, isPrivate);
    } else if (step == Step::make && item.type == KSIGIL_DIRECTORY) {
        session_.makeDirectory(path, isPrivate);
    } else if (step == Step::make) {
        session_.makeKey(path, item.attribute == KSIGIL_TWO_FACTOR);
        keysWithoutValue_.push_back(item);
    }
}

}  // namespace tools
