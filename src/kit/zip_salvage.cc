#include "kit/zip_salvage.h"

#include <zlib.h>

#include <algorithm>
#include <vector>

#include "ftn/zip.h"

namespace {

constexpr size_t kSalvagePiece = 65536;
constexpr size_t kLargestContent = 1U << 30;  // bytes: an entry that expands to more is no mail

// An entry whose data can be found, at least in part.
struct Place {
  std::string name;
  uint16_t method = kZipStored;
  uint32_t crc = 0;
  size_t size = 0;  // of the uncompressed data; bytes
  const uint8_t* data = nullptr;
  size_t data_size = 0;  // bytes; if its end is unknown, up to the end of the file
  bool end_known = true;
  bool cut = false;  // the file ends before the data does
};

struct Unpacking {
  std::string content;
  size_t taken = 0;  // bytes of the data
  bool ended = false;
};

// Inflates up to the end of the compressed data. Memory grows with the output, not with the size that a header claims.
Unpacking Inflate(const Place& place) {
  Unpacking unpacking;
  z_stream stream = {};
  if (inflateInit2(&stream, -MAX_WBITS) != Z_OK) return unpacking;
  stream.next_in = const_cast<Bytef*>(place.data);
  stream.avail_in = static_cast<uInt>(std::min<size_t>(place.data_size, UINT32_MAX));
  std::vector<uint8_t> piece(kSalvagePiece);
  int code = Z_OK;
  while (code == Z_OK && unpacking.content.size() < kLargestContent) {
    stream.next_out = piece.data();
    stream.avail_out = static_cast<uInt>(piece.size());
    code = inflate(&stream, Z_NO_FLUSH);
    unpacking.content.append(reinterpret_cast<const char*>(piece.data()), piece.size() - stream.avail_out);
  }
  unpacking.taken = stream.total_in;
  unpacking.ended = code == Z_STREAM_END;
  (void)inflateEnd(&stream);
  return unpacking;
}

UnpackedEntry Unpack(const Place& place, size_t* taken) {
  UnpackedEntry entry;
  entry.name = place.name;
  *taken = place.data_size;
  if (place.method == kZipDeflated) {
    Unpacking unpacking = Inflate(place);
    *taken = unpacking.taken;
    entry.content = std::move(unpacking.content);
    if (!unpacking.ended) entry.fault = place.cut ? "the file ends within it" : "its data are damaged";
  } else if (place.method != kZipStored) {
    entry.fault = "unsupported compression method " + std::to_string(place.method);
  } else if (!place.end_known) {
    entry.fault = "it is stored, and nothing tells its size";
    *taken = 0;
  } else {
    entry.content.assign(reinterpret_cast<const char*>(place.data), place.data_size);
    if (place.cut) entry.fault = "the file ends within it";
  }
  if (entry.fault.empty() && place.end_known &&
      (entry.content.size() != place.size ||
       crc32_z(0, reinterpret_cast<const Bytef*>(entry.content.data()), entry.content.size()) != place.crc)) {
    entry.fault = "its size or checksum is another than the bundle says";
  }
  return entry;
}

// Finds the data of the entry whose local header is at `at`. Returns false when there is no local header.
bool FindData(const uint8_t* bundle, size_t size, size_t at, Place* place) {
  if (at > size || size - at < kZipLocalHeaderSize || !IsZipLocalHeader(bundle + at)) return false;
  const ZipLocalHeader header = UnpackZipLocalHeader(bundle + at);
  const size_t before_data = kZipLocalHeaderSize + size_t{header.name_length} + header.extra_length;
  if (size - at < before_data) return false;
  place->data = bundle + at + before_data;
  place->data_size = size - at - before_data;
  return true;
}

// Returns the offset of the central directory according to the end record, which may be followed by a comment; `size`
// when there is none.
size_t FindDirectory(const uint8_t* bundle, size_t size, size_t* entries) {
  constexpr size_t kLongestComment = 65535;
  for (size_t back = kZipEndRecordSize; back <= size && back <= kZipEndRecordSize + kLongestComment; ++back) {
    const uint8_t* const record = bundle + size - back;
    if (GetU32(record) != kZipEndSignature) continue;
    *entries = GetU16(record + zip_end_layout::entries.at);
    return std::min<size_t>(GetU32(record + zip_end_layout::directory_at.at), size);
  }
  return size;
}

// Returns the entries of the central directory; none when any of them has no local header.
std::vector<Place> PlacesByDirectory(const uint8_t* bundle, size_t size) {
  namespace layout = zip_central_layout;
  std::vector<Place> places;
  size_t entries = 0;
  size_t at = FindDirectory(bundle, size, &entries);
  const uint8_t* free_from = bundle;  // entries must not overlap: none is unpacked twice
  for (size_t i = 0; i < entries; ++i) {
    const uint8_t* const record = bundle + at;
    if (size - at < layout::kSize || GetU32(record) != kZipCentralSignature) return {};
    const size_t name_size = GetU16(record + layout::name_length.at);
    const size_t whole = layout::kSize + name_size + GetU16(record + layout::extra_length.at) +
                         GetU16(record + layout::comment_length.at);
    if (size - at < whole) return {};
    Place place;
    place.name.assign(reinterpret_cast<const char*>(record) + layout::kSize, name_size);
    place.method = GetU16(record + layout::method.at);
    place.crc = GetU32(record + layout::crc.at);
    place.size = GetU32(record + layout::uncompressed_size.at);
    if (!FindData(bundle, size, GetU32(record + layout::local_header_at.at), &place)) return {};
    if (place.data < free_from) return {};
    const size_t stored = GetU32(record + layout::compressed_size.at);
    place.cut = place.data_size < stored;
    place.data_size = std::min(place.data_size, stored);
    free_from = place.data + place.data_size;
    places.push_back(std::move(place));
    at += whole;
  }
  return places;
}

// Returns the entry whose local header is at `at`.
bool PlaceByHeader(const uint8_t* bundle, size_t size, size_t at, Place* place) {
  if (!FindData(bundle, size, at, place)) return false;
  const ZipLocalHeader header = UnpackZipLocalHeader(bundle + at);
  place->name.assign(reinterpret_cast<const char*>(bundle) + at + kZipLocalHeaderSize, header.name_length);
  place->method = header.method;
  place->crc = header.crc;
  place->size = header.uncompressed_size;
  place->end_known = (header.flags & kZipFlagDataDescriptor) == 0;
  place->cut = place->end_known && place->data_size < header.compressed_size;
  if (place->end_known) place->data_size = std::min<size_t>(place->data_size, header.compressed_size);
  return true;
}

// Returns the offset of the next local header from `from` on: a descriptor or unknown bytes may precede it.
size_t FindHeader(const uint8_t* bundle, size_t size, size_t from) {
  for (size_t at = from; at + kZipLocalHeaderSize <= size; ++at) {
    if (IsZipLocalHeader(bundle + at)) return at;
  }
  return size;
}

}  // namespace

size_t UnpackBundle(const uint8_t* bundle, size_t size, const std::function<void(const UnpackedEntry&)>& take) {
  size_t taken = 0;
  const std::vector<Place> places = PlacesByDirectory(bundle, size);
  for (const Place& place : places) take(Unpack(place, &taken));
  if (!places.empty()) return places.size();
  size_t count = 0;
  for (size_t at = FindHeader(bundle, size, 0); at != size; at = FindHeader(bundle, size, at)) {
    Place place;
    if (PlaceByHeader(bundle, size, at, &place)) {
      take(Unpack(place, &taken));
      at = static_cast<size_t>(place.data - bundle) + taken;
      ++count;
    } else {
      ++at;
    }
  }
  return count;
}
