// Arbitrary bytes through each stored JSON form's decoder: whatever decodes must encode, and
// that text must decode to the same records and encode to the same bytes again. File names
// must survive their way from bytes to text and back as well.

#include "library/LocalPath.h"
#include "library/StoredJson.h"

#include <QByteArray>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>

namespace {

void require(bool condition, const char* what) {
    if (condition)
        return;
    std::fprintf(stderr, "stored_json_fuzz: %s\n", what);
    std::abort();
}

template <typename Records>
void roundTrip(const QByteArray& json,
               std::optional<Records> (*decode)(const QByteArray&, QString*),
               std::optional<QByteArray> (*encode)(const Records&, QString*)) {
    const std::optional<Records> first = decode(json, nullptr);
    if (!first)
        return;
    // A decoded number is always finite, so every decoded document can be written.
    const std::optional<QByteArray> text = encode(*first, nullptr);
    require(text.has_value(), "decoded records could not be encoded");
    const std::optional<Records> second = decode(*text, nullptr);
    require(second.has_value(), "encoded text could not be decoded");
    require(*second == *first, "the records changed on their way through the text");
    require(encode(*second, nullptr) == text, "the same records were encoded differently");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<const char*>(data), qsizetype(size));
    roundTrip(bytes, &StoredJson::decodeItems, &StoredJson::encodeItems);
    roundTrip(bytes, &StoredJson::decodePlaylists, &StoredJson::encodePlaylists);
    roundTrip(bytes, &StoredJson::decodeMetadataCache, &StoredJson::encodeMetadataCache);
    require(LocalPath::toBytes(LocalPath::fromBytes(bytes)) == bytes,
            "a file name's bytes changed on their way through text");
    return 0;
}
