#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QStringView>

// File names and paths between the file system's bytes and the text the program holds. A name
// is any bytes; one from another system is often not UTF-8 (Latin-1, say), and Qt's own
// conversions replace such bytes with U+FFFD, so the file could no longer be opened. Here every
// byte that is not part of well-formed UTF-8, 0xXY, is held as the lone surrogate U+DCXY (which
// no well-formed UTF-8 yields), and turned back into that byte wherever a file is opened.
// QUrl::fromLocalFile() and toLocalFile() keep such text as it is, so file URLs carry it too.
namespace LocalPath {

// Never fails; toBytes(fromBytes(bytes)) == bytes for any bytes.
QString fromBytes(QByteArrayView bytes);
// UTF-8, with U+DC80 to U+DCFF as single bytes. Other lone surrogates name no file that can
// exist; they are written as U+FFFD.
QByteArray toBytes(QStringView path);

} // namespace LocalPath
