#include "playback/MpvNode.h"

#include <cstring>

MpvNode::~MpvNode() {
    mpv_free_node_contents(&m_node);
}

std::optional<int64_t> MpvNode::mapInt64(const char* key) const {
    if (m_node.format != MPV_FORMAT_NODE_MAP)
        return std::nullopt;
    const mpv_node_list& map = *m_node.u.list;
    for (int n = 0; n < map.num; ++n) {
        if (std::strcmp(map.keys[n], key) == 0 && map.values[n].format == MPV_FORMAT_INT64)
            return map.values[n].u.int64;
    }
    return std::nullopt;
}
