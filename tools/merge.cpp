#include "tools/merge.h"

#include "tools/failure.h"
#include "tools/names.h"
#include "tools/replace.h"
#include "tools/room.h"

namespace tools {
namespace {

constexpr std::uint32_t keySize = 24;  // what a key counts

ksigil_object objectOf(const Item& item) {
    return {0, item.type, item.attribute, item.type == KSIGIL_KEY ? keySize : item.size};
}

std::string kindOf(std::uint8_t type, std::uint8_t attribute) {
    return std::string(attributeName(attribute)) + ' ' + typeName(type);
}

}  // namespace

Merge::Merge(Session& session, const std::string& root, const Tree& tree, bool overExisting,
             Report& report)
    : session_(session), root_(root), tree_(tree), overExisting_(overExisting), report_(report) {
    report_.objects.emplace();
    report_.style = overExisting ? Report::Style::done : Report::Style::silent;
}

// The step it takes to have the item at its place; what is there must let it.
Merge::Work Merge::workFor(const Item& item) {
    const std::string path = root_ + item.path;
    const bool mayBeThere = directories_.contains(item.path.substr(0, item.path.size() - 4));
    const std::optional<ksigil_object> there =
        mayBeThere ? session_.find(path) : std::optional<ksigil_object>();
    if (!there) {
        return {Step::make, 0, "made"};
    }
    if (!overExisting_) {
        throw Failure(path + " exists already: --force merges the two");
    }
    const bool isAlike = there->attribute == item.attribute;
    if (there->type != item.type || (item.type == KSIGIL_KEY && !isAlike)) {
        throw Failure(path + " is a " + kindOf(there->type, there->attribute) + " there, and a " +
                      kindOf(item.type, item.attribute) + " here: remove it first");
    }
    if (item.type == KSIGIL_DIRECTORY) {
        directories_.insert(item.path);
        return {Step::leave, 0, isAlike ? "was there" : "was there, with another attribute"};
    }
    if (item.type == KSIGIL_KEY) {
        return {Step::leave, 0, "was there"};
    }
    const bool isSame =
        isAlike && there->size == item.size && session_.read(path, 0, item.size) == item.content;
    return isSame ? Work{Step::leave, 0, "was there"}
                  : Work{Step::replace, there->size, "replaced"};
}

void Merge::plan() {
    if (session_.object(root_).type != KSIGIL_DIRECTORY) {
        throw Failure(root_ + " is no directory");
    }
    directories_ = {""};
    plan_.clear();
    Room room;
    std::uint64_t bytes = 0;
    for (const Item& item : tree_) {
        if (root_.size() + item.path.size() > longestPath) {
            throw Failure(root_ + item.path + " is deeper than a token's tree");
        }
        const Work work = workFor(item);
        const std::uint32_t size = objectOf(item).size;
        if (work.step == Step::make) {
            room.make(size);
            bytes += size;
        } else if (work.step == Step::replace) {
            room.replace(work.old, size);
            bytes += 2 * std::uint64_t{size};
        }
        plan_.push_back(work);
    }
    room.require(session_);
    session_.progress().expect(bytes);
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
        report_.add(root_ + item.path, objectOf(item), plan_[done_].done);
        session_.stand(std::to_string(done_ + 1) + " of " + std::to_string(tree_.size()) +
                       " objects are done, and --force goes on with the others");
    }
}

void Merge::carryOut(const Item& item, Step step) {
    const std::string path = root_ + item.path;
    const bool isPrivate = item.attribute == KSIGIL_PRIVATE;
    if (step == Step::replace) {
        replaceFile(session_, path, item.content, isPrivate);
        session_.progress().add(2 * std::uint64_t{item.size});
    } else if (step == Step::make && item.type == KSIGIL_FILE) {
        makeFile(session_, path, item.content, isPrivate);
        session_.progress().add(item.size);
    } else if (step == Step::make && item.type == KSIGIL_DIRECTORY) {
        session_.makeDirectory(path, isPrivate);
    } else if (step == Step::make) {
        session_.makeKey(path, item.attribute == KSIGIL_TWO_FACTOR);
        madeKeys_.push_back(item);
    }
}

}  // namespace tools
