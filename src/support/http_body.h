// How the bytes behind a reply's head divide into the file's data and the framing around them
// (RFC 9112, 6 and 7).
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace wavecodec {

class HTTPBody {
 public:
  HTTPBody() = default;  // that of no reply: it is over
  // Of a known length, or up to the end of the connection.
  static HTTPBody Plain(std::optional<int64_t> length);
  static HTTPBody InChunks();

  // How many bytes of data come next; with 0, framing comes unless the body is over.
  [[nodiscard]] int64_t DataLeft() const { return Next == Part::Data ? Data : 0; }
  void TakeData(int64_t count);
  // Takes framing off the front of `bytes`, up to the next data or the body's end. Returns its
  // length.
  size_t TakeFraming(const uint8_t* bytes, size_t size);

  // The last byte was taken, or what came is no framing.
  [[nodiscard]] bool IsOver() const { return Next == Part::End || Next == Part::Bad; }
  [[nodiscard]] bool IsBad() const { return Next == Part::Bad; }
  [[nodiscard]] bool IsInChunks() const { return Chunked; }

 private:
  enum class Part : uint8_t { Size, Extension, Data, DataEnd, Trailer, End, Bad };

  // Of one byte of framing.
  [[nodiscard]] Part AfterSize(uint8_t byte);
  [[nodiscard]] Part AfterTrailer(uint8_t byte);
  [[nodiscard]] Part After(uint8_t byte);

  Part Next = Part::End;
  bool Chunked = false;
  bool HasDigit = false;      // in a chunk's size
  bool LineIsEmpty = true;    // among the trailers, so far
  int64_t Data = 0;           // left where data come, else the size of the chunk as read so far
  int64_t FramingLength = 0;  // since the last data
};

}  // namespace wavecodec
