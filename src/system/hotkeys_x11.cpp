// Global hotkeys on X11: a passive grab on the root window for each combination, taken through
// the application's own X connection, once for every state of the lock keys (none, NumLock,
// CapsLock, both) since X compares the whole modifier state. Presses reach the program as key
// events on the root window, which a native event filter picks out before Qt sees them. X11's
// headers come after Qt's: they define macros that break Qt's.
#include "system/GlobalShortcuts.h"

#include <QAbstractNativeEventFilter>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QList>

#include <xcb/xcb.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <optional>
#include <vector>

namespace {

constexpr uint8_t kBadAccess = 10;
constexpr xcb_keysym_t kNumLock = 0xff7f;
constexpr std::array<xcb_keysym_t, 2> kAlt = {0xffe9, 0xffea};
constexpr std::array<xcb_keysym_t, 2> kSuper = {0xffeb, 0xffec};
// The eight core modifiers; the state's other bits (the keyboard group) never count.
constexpr uint16_t kCoreModifiers = 0xff;

struct FreeDeleter {
    void operator()(void* pointer) const { std::free(pointer); }
};
template <typename T> using Reply = std::unique_ptr<T, FreeDeleter>;

xcb_connection_t* applicationConnection() {
    auto* gui = qobject_cast<QGuiApplication*>(QCoreApplication::instance());
    auto* x11 = gui ? gui->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 ? x11->connection() : nullptr;
}

// The keyboard as the X server maps it now: each key's keysyms and the modifier bits of the
// keys that matter here.
class Keyboard {
public:
    explicit Keyboard(xcb_connection_t* connection) {
        const xcb_setup_t* setup = xcb_get_setup(connection);
        m_minKeycode = setup->min_keycode;
        const uint8_t count = uint8_t(setup->max_keycode - setup->min_keycode + 1);
        Reply<xcb_get_keyboard_mapping_reply_t> mapping(xcb_get_keyboard_mapping_reply(
            connection, xcb_get_keyboard_mapping(connection, m_minKeycode, count), nullptr));
        if (mapping) {
            m_perKeycode = mapping->keysyms_per_keycode;
            const xcb_keysym_t* syms = xcb_get_keyboard_mapping_keysyms(mapping.get());
            m_keysyms.assign(syms, syms + xcb_get_keyboard_mapping_keysyms_length(mapping.get()));
        }
        Reply<xcb_get_modifier_mapping_reply_t> modifiers(xcb_get_modifier_mapping_reply(
            connection, xcb_get_modifier_mapping(connection), nullptr));
        if (!modifiers)
            return;
        const xcb_keycode_t* keycodes = xcb_get_modifier_mapping_keycodes(modifiers.get());
        const int perModifier = modifiers->keycodes_per_modifier;
        for (int modifier = 0; modifier < 8; ++modifier) {
            for (int i = 0; i < perModifier; ++i) {
                const xcb_keycode_t keycode = keycodes[modifier * perModifier + i];
                const auto carries = [&](auto... wanted) {
                    return ((keycode && carriesKeysym(keycode, wanted)) || ...);
                };
                const uint16_t bit = uint16_t(1u << modifier);
                if (carries(kNumLock))
                    m_numLock = bit;
                if (carries(kAlt[0], kAlt[1]))
                    m_alt = bit;
                if (carries(kSuper[0], kSuper[1]))
                    m_super = bit;
            }
        }
    }

    // The key that carries the keysym, looked for level by level as Xlib does, so that it is
    // the key a program typing that keysym presses.
    std::optional<xcb_keycode_t> keycodeFor(xcb_keysym_t keysym) const {
        const std::size_t keys = m_perKeycode ? m_keysyms.size() / m_perKeycode : 0;
        for (std::size_t level = 0; level < m_perKeycode; ++level) {
            for (std::size_t key = 0; key < keys; ++key) {
                if (m_keysyms[key * m_perKeycode + level] == keysym)
                    return xcb_keycode_t(m_minKeycode + key);
            }
        }
        return std::nullopt;
    }

    // The X modifier state for the program's modifier bits.
    uint16_t modifiersFor(quint64 modifiers) const {
        uint16_t state = 0;
        if (modifiers & HotkeyConfig::kShift)
            state |= XCB_MOD_MASK_SHIFT;
        if (modifiers & HotkeyConfig::kControl)
            state |= XCB_MOD_MASK_CONTROL;
        if (modifiers & HotkeyConfig::kOption)
            state |= m_alt;
        if (modifiers & HotkeyConfig::kCommand)
            state |= m_super;
        return state;
    }

    // NumLock and CapsLock: a combination is taken in each of their states, and presses are
    // compared without them.
    uint16_t lockModifiers() const { return m_numLock | XCB_MOD_MASK_LOCK; }
    std::array<uint16_t, 4> lockStates() const {
        return {0, m_numLock, XCB_MOD_MASK_LOCK, uint16_t(m_numLock | XCB_MOD_MASK_LOCK)};
    }

private:
    bool carriesKeysym(xcb_keycode_t keycode, xcb_keysym_t keysym) const {
        const std::size_t first = std::size_t(keycode - m_minKeycode) * m_perKeycode;
        for (std::size_t level = 0; level < m_perKeycode; ++level) {
            if (first + level < m_keysyms.size() && m_keysyms[first + level] == keysym)
                return true;
        }
        return false;
    }

    xcb_keycode_t m_minKeycode = 0;
    std::size_t m_perKeycode = 0;
    std::vector<xcb_keysym_t> m_keysyms;
    // The usual assignments, where the server's modifier map does not say.
    uint16_t m_numLock = XCB_MOD_MASK_2;
    uint16_t m_alt = XCB_MOD_MASK_1;
    uint16_t m_super = XCB_MOD_MASK_4;
};

class X11GlobalShortcuts : public GlobalShortcuts, public QAbstractNativeEventFilter {
public:
    explicit X11GlobalShortcuts(xcb_connection_t* connection)
        : m_connection(connection) {
        QCoreApplication::instance()->installNativeEventFilter(this);
    }
    ~X11GlobalShortcuts() override { releaseAll(); }

    GrabResult grab(const HotkeyConfig& combination) override {
        if (!m_connection)
            return GrabResult::Unavailable;
        if (!m_keyboard)
            m_keyboard.emplace(m_connection);
        const xcb_keysym_t keysym = HotkeyConfig::keysym(combination.keyCode);
        const std::optional<xcb_keycode_t> keycode =
            keysym ? m_keyboard->keycodeFor(keysym) : std::nullopt;
        if (!keycode)
            return GrabResult::Unavailable;
        const uint16_t modifiers = m_keyboard->modifiersFor(combination.modifiers);
        for (const Grab& grab : std::as_const(m_grabs)) {
            if (grab.keycode == *keycode && grab.modifiers == modifiers)
                return GrabResult::Grabbed;
        }

        const xcb_window_t root = rootWindow();
        const std::array<uint16_t, 4> locks = m_keyboard->lockStates();
        std::array<xcb_void_cookie_t, 4> cookies{};
        for (std::size_t i = 0; i < locks.size(); ++i) {
            cookies[i] = xcb_grab_key_checked(m_connection, 1, root, modifiers | locks[i], *keycode,
                                              XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
        }
        GrabResult result = GrabResult::Grabbed;
        for (const xcb_void_cookie_t cookie : cookies) {
            Reply<xcb_generic_error_t> error(xcb_request_check(m_connection, cookie));
            if (error && result == GrabResult::Grabbed)
                result =
                    error->error_code == kBadAccess ? GrabResult::Taken : GrabResult::Unavailable;
        }
        if (result != GrabResult::Grabbed) {
            // Half a combination would fire with some lock states only: none of it stays.
            ungrab(*keycode, modifiers);
            xcb_flush(m_connection);
            return result;
        }
        m_grabs.append({*keycode, modifiers, combination});
        return result;
    }

    void releaseAll() override {
        if (m_connection) {
            for (const Grab& grab : std::as_const(m_grabs))
                ungrab(grab.keycode, grab.modifiers);
            xcb_flush(m_connection);
        }
        m_grabs.clear();
        // Read afresh at the next grab: the user may have changed the keyboard in between.
        m_keyboard.reset();
    }

    bool reconnect() override {
        xcb_connection_t* current = applicationConnection();
        if (current == m_connection)
            return false;
        // The grabs went with the old connection.
        m_connection = current;
        m_grabs.clear();
        m_keyboard.reset();
        return true;
    }

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr*) override {
        if (eventType != "xcb_generic_event_t" || m_grabs.isEmpty() || !m_keyboard)
            return false;
        const auto* event = static_cast<const xcb_generic_event_t*>(message);
        if ((event->response_type & 0x7f) != XCB_KEY_PRESS)
            return false;
        const auto* press = static_cast<const xcb_key_press_event_t*>(message);
        if (press->event != rootWindow())
            return false;
        const uint16_t state = press->state & kCoreModifiers & ~m_keyboard->lockModifiers();
        for (const Grab& grab : std::as_const(m_grabs)) {
            if (grab.keycode == press->detail && grab.modifiers == state) {
                Q_EMIT activated(grab.combination);
                return true;
            }
        }
        return false;
    }

private:
    struct Grab {
        xcb_keycode_t keycode;
        uint16_t modifiers;
        HotkeyConfig combination;
    };

    xcb_window_t rootWindow() const {
        return xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
    }

    // Only while the keyboard of the grabs is known: every grab was taken with it.
    void ungrab(xcb_keycode_t keycode, uint16_t modifiers) {
        for (const uint16_t lock : m_keyboard->lockStates())
            xcb_ungrab_key(m_connection, keycode, rootWindow(), modifiers | lock);
    }

    xcb_connection_t* m_connection;
    std::optional<Keyboard> m_keyboard;
    QList<Grab> m_grabs;
};

} // namespace

std::unique_ptr<GlobalShortcuts> GlobalShortcuts::createX11() {
    xcb_connection_t* connection = applicationConnection();
    if (!connection)
        return nullptr;
    return std::make_unique<X11GlobalShortcuts>(connection);
}
