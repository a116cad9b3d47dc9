#include "tools/walk.h"

#include "tools/failure.h"

namespace tools {
namespace {

void walkInto(Session& session, const std::string& path, const ksigil_object& object,
              std::size_t most, std::vector<Node>& nodes) {
    if (nodes.size() == most) {
        throw Failure("there are more than " + std::to_string(most) + " objects in " +
                      nodes.front().path);
    }
    nodes.push_back({path, object});
    if (object.type == KSIGIL_DIRECTORY) {
        for (const ksigil_object& child : session.children(path)) {
            walkInto(session, path + idText(child.id), child, most, nodes);
        }
    }
}

}  // namespace

std::vector<Node> walk(Session& session, const std::string& path, std::size_t most) {
    std::vector<Node> nodes;
    walkInto(session, path, session.object(path), most, nodes);
    return nodes;
}

}  // namespace tools
