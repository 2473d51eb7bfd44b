#pragma once

struct mpv_handle;

// One mpv client handle, created with this object and terminated (with the player it runs)
// when it goes. Options and mpv_initialize are the owner's to set and call.
class MpvHandle {
public:
    // Null (see isValid) when mpv cannot make a handle.
    MpvHandle();
    ~MpvHandle();
    MpvHandle(const MpvHandle&) = delete;
    MpvHandle& operator=(const MpvHandle&) = delete;

    bool isValid() const { return m_handle != nullptr; }
    mpv_handle* get() const { return m_handle; }

private:
    mpv_handle* m_handle = nullptr;
};
