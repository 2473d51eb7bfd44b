#include "ui/HotkeyRowModel.h"

#include "core/Logging.h"
#include "system/HotkeyConfig.h"
#include "system/HotkeyManager.h"
#include "ui/SettingsContext.h"

#include <QVariantMap>

namespace {

// The X keysym a Qt key stands for on a US layout; 0 for none.
quint32 keysymForQtKey(int qtKey) {
    // Letters arrive as their capitals; the keys carry their lower-case keysym.
    if (qtKey >= Qt::Key_A && qtKey <= Qt::Key_Z)
        return quint32(qtKey - Qt::Key_A + 'a');
    if (qtKey >= Qt::Key_Space && qtKey <= Qt::Key_AsciiTilde)
        return quint32(qtKey);
    if (qtKey >= Qt::Key_F1 && qtKey <= Qt::Key_F12)
        return quint32(0xffbe + (qtKey - Qt::Key_F1));
    switch (qtKey) {
    case Qt::Key_Return:
        return 0xff0d;
    case Qt::Key_Enter:
        return 0xff8d;
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
        return 0xff09;
    case Qt::Key_Backspace:
        return 0xff08;
    case Qt::Key_Escape:
        return 0xff1b;
    case Qt::Key_Home:
        return 0xff50;
    case Qt::Key_PageUp:
        return 0xff55;
    case Qt::Key_Delete:
        return 0xffff;
    case Qt::Key_End:
        return 0xff57;
    case Qt::Key_PageDown:
        return 0xff56;
    case Qt::Key_Left:
        return 0xff51;
    case Qt::Key_Up:
        return 0xff52;
    case Qt::Key_Right:
        return 0xff53;
    case Qt::Key_Down:
        return 0xff54;
    default:
        return 0;
    }
}

bool isModifierKey(int qtKey) {
    switch (qtKey) {
    case Qt::Key_Shift:
    case Qt::Key_Control:
    case Qt::Key_Meta:
    case Qt::Key_Alt:
    case Qt::Key_AltGr:
    case Qt::Key_Super_L:
    case Qt::Key_Super_R:
    case Qt::Key_CapsLock:
    case Qt::Key_NumLock:
        return true;
    default:
        return false;
    }
}

} // namespace

HotkeyRowModel::HotkeyRowModel(QObject* parent)
    : QObject(parent) {
    setAction(0);
}

void HotkeyRowModel::setAction(int action) {
    if (action < 0 || action >= int(kHotkeyActions.size())) {
        qCWarning(lcApp, "No hotkey action %d", action);
        return;
    }
    m_action = kHotkeyActions[std::size_t(action)];
    const HotkeyConfig config = SettingsContext::shared().hotkeys().hotkeys().value(
        m_action, HotkeyConfig::defaultFor(m_action));
    m_keyCode = config.keyCode;
    m_modifiers = config.modifiers;
    Q_EMIT actionChanged();
    Q_EMIT bindingChanged();
}

QString HotkeyRowModel::displayName() const {
    return ::displayName(m_action);
}

QString HotkeyRowModel::keyName() const {
    return HotkeyManager::keyName(m_keyCode);
}

QVariantList HotkeyRowModel::modifierKeys() {
    static constexpr std::pair<const char*, quint64> kKeys[] = {{"Ctrl", HotkeyConfig::kControl},
                                                                {"Alt", HotkeyConfig::kOption},
                                                                {"Shift", HotkeyConfig::kShift},
                                                                {"Super", HotkeyConfig::kCommand}};
    QVariantList keys;
    for (const auto& [name, flag] : kKeys) {
        keys.append(QVariantMap{{QStringLiteral("name"), QString::fromLatin1(name)},
                                {QStringLiteral("flag"), qint64(flag)}});
    }
    return keys;
}

void HotkeyRowModel::toggleRecording() {
    setRecording(!m_isRecording);
}

void HotkeyRowModel::cancelRecording() {
    setRecording(false);
}

void HotkeyRowModel::setModifier(qint64 flag, bool on) {
    const quint64 modifiers = on ? m_modifiers | quint64(flag) : m_modifiers & ~quint64(flag);
    if (modifiers == m_modifiers)
        return;
    m_modifiers = modifiers;
    store();
}

void HotkeyRowModel::recordKey(int qtKey) {
    if (!m_isRecording || isModifierKey(qtKey))
        return;
    const int code = keyCodeForQtKey(qtKey);
    if (code < 0) {
        qCInfo(lcApp, "Key 0x%x cannot be a global hotkey; still waiting for a key", qtKey);
        return;
    }
    setRecording(false);
    if (quint16(code) == m_keyCode)
        return;
    m_keyCode = quint16(code);
    store();
}

int HotkeyRowModel::keyCodeForQtKey(int qtKey) {
    const quint32 keysym = keysymForQtKey(qtKey);
    if (keysym == 0)
        return -1;
    // The program's codes are few and below 128.
    for (int code = 0; code < 128; ++code) {
        if (HotkeyConfig::keysym(quint16(code)) == keysym)
            return code;
    }
    return -1;
}

void HotkeyRowModel::setRecording(bool recording) {
    if (recording == m_isRecording)
        return;
    m_isRecording = recording;
    Q_EMIT isRecordingChanged();
}

void HotkeyRowModel::store() {
    SettingsContext::shared().hotkeys().updateHotkey({m_keyCode, m_modifiers}, m_action);
    Q_EMIT bindingChanged();
}
