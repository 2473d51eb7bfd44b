#pragma once

#include <mpv/client.h>

#include <optional>

// A node mpv fills in (a command's result), its contents freed with this object.
class MpvNode {
public:
    MpvNode() = default;
    ~MpvNode();
    MpvNode(const MpvNode&) = delete;
    MpvNode& operator=(const MpvNode&) = delete;

    // Where mpv writes the node; empty (MPV_FORMAT_NONE) until it does.
    mpv_node* out() { return &m_node; }
    // The integer under key, when the node is a map that holds one.
    std::optional<int64_t> mapInt64(const char* key) const;

private:
    mpv_node m_node{};
};
