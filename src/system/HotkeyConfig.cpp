#include "system/HotkeyConfig.h"

#include <algorithm>
#include <iterator>

namespace {

struct Key {
    quint16 code;
    // Null for a key shown by its number.
    const char* name;
    quint32 keysym;
};

// The program's key codes with their names and their keys on this desktop, sorted by code.
// Letters carry their lower-case keysym, as the keyboard's first level does.
constexpr Key kKeys[] = {
    {0, "A", 0x61},         {1, "S", 0x73},       {2, "D", 0x64},         {3, "F", 0x66},
    {4, "H", 0x68},         {5, "G", 0x67},       {6, "Z", 0x7a},         {7, "X", 0x78},
    {8, "C", 0x63},         {9, "V", 0x76},       {11, "B", 0x62},        {12, "Q", 0x71},
    {13, "W", 0x77},        {14, "E", 0x65},      {15, "R", 0x72},        {16, "Y", 0x79},
    {17, "T", 0x74},        {18, "1", 0x31},      {19, "2", 0x32},        {20, "3", 0x33},
    {21, "4", 0x34},        {22, "6", 0x36},      {23, "5", 0x35},        {24, nullptr, 0x3d},
    {25, "9", 0x39},        {26, "7", 0x37},      {27, nullptr, 0x2d},    {28, "8", 0x38},
    {29, "0", 0x30},        {30, nullptr, 0x5d},  {31, "O", 0x6f},        {32, "U", 0x75},
    {33, nullptr, 0x5b},    {34, "I", 0x69},      {35, "P", 0x70},        {36, "↩", 0xff0d},
    {37, "L", 0x6c},        {38, "J", 0x6a},      {39, nullptr, 0x27},    {40, "K", 0x6b},
    {41, nullptr, 0x3b},    {42, nullptr, 0x5c},  {43, nullptr, 0x2c},    {44, nullptr, 0x2f},
    {45, "N", 0x6e},        {46, "M", 0x6d},      {47, nullptr, 0x2e},    {48, "⇥", 0xff09},
    {49, "Space", 0x20},    {50, nullptr, 0x60},  {51, "⌫", 0xff08},      {53, "⎋", 0xff1b},
    {76, "⌤", 0xff8d},      {96, "F5", 0xffc2},   {97, "F6", 0xffc3},     {98, "F7", 0xffc4},
    {99, "F3", 0xffc0},     {100, "F8", 0xffc5},  {101, "F9", 0xffc6},    {103, "F11", 0xffc8},
    {109, "F10", 0xffc7},   {111, "F12", 0xffc9}, {115, nullptr, 0xff50}, {116, nullptr, 0xff55},
    {117, nullptr, 0xffff}, {118, "F4", 0xffc1},  {119, nullptr, 0xff57}, {120, "F2", 0xffbf},
    {121, nullptr, 0xff56}, {122, "F1", 0xffbe},  {123, "←", 0xff51},     {124, "→", 0xff53},
    {125, "↓", 0xff54},     {126, "↑", 0xff52},
};

static_assert(std::is_sorted(std::begin(kKeys), std::end(kKeys),
                             [](const Key& a, const Key& b) { return a.code < b.code; }));

const Key* find(quint16 code) {
    const auto* found = std::lower_bound(std::begin(kKeys), std::end(kKeys), code,
                                         [](const Key& key, quint16 c) { return key.code < c; });
    return found != std::end(kKeys) && found->code == code ? found : nullptr;
}

} // namespace

HotkeyConfig HotkeyConfig::defaultFor(HotkeyAction action) {
    return {hotkeyaction::kNames[std::size_t(action)].defaultKeyCode, kDefaultModifiers};
}

QString HotkeyConfig::keyName(quint16 keyCode) {
    const Key* key = find(keyCode);
    return key && key->name ? QString::fromUtf8(key->name) : QStringLiteral("Key %1").arg(keyCode);
}

quint32 HotkeyConfig::keysym(quint16 keyCode) {
    const Key* key = find(keyCode);
    return key ? key->keysym : 0;
}

QString HotkeyConfig::label() const {
    static constexpr std::pair<quint64, const char*> kNames[] = {
        {kControl, "Ctrl+"}, {kOption, "Alt+"}, {kShift, "Shift+"}, {kCommand, "Super+"}};
    QString text;
    for (const auto& [bit, name] : kNames) {
        if (modifiers & bit)
            text += QLatin1String(name);
    }
    return text + keyName(keyCode);
}
