/**
 * @file codec_module.h
 * @brief The C interface of a codec module: nine entry points, one variable, and the records that
 *        cross the library boundary.
 *
 * A codec module is a shared library that an audio conversion host loads at run time (`dlopen`) and
 * drives through the entry points below. The Wave codec module, `wave.dll`, offers this interface;
 * so does `mp3.dll`, which it loads in turn for MPEG data. A host needs this header and nothing
 * else.
 *
 * Order of calls on one instance:
 *
 *     Create -> [Get / Set]* -> Open -> [DecodeBlock / SetPosition]* -> Close -> ... -> Destroy
 *
 * `Get`, `Set` and `DeleteATag` are allowed at any time between `Create` and `Destroy`, with or
 * without an open source. `Open` may follow `Close`, and may also follow `Open`: each `Open` starts
 * from nothing, whatever the instance did before.
 *
 * Results. Every entry point except `Create` returns 1 for success and 0 for failure, and 0 when
 * the instance or a record is null (`Destroy` always returns 1). `Open`, `DecodeBlock`, `SetPosition`
 * and `DeleteATag` write a line that says why they failed to the error handle of the report given to
 * `Create`; for `Get` and `Set` 0 says it all, but "IDTags" writes such a line, too. No C++
 * exception leaves an entry point, and no signal comes of writing the report.
 *
 * Threads. An instance is used by one thread at a time. Different instances are independent and may
 * be used by different threads at once; what they share (the report's indentation) is guarded
 * inside.
 *
 * Ownership. The host owns every record it passes. Memory that a call returns through a record
 * belongs to the instance; each field says how long it stays valid. The host frees none of it.
 *
 * Units. Positions and ranges are sample frames of the stored format (blocks of `nBlockAlign`
 * bytes), counted from the first frame of the `data` chunk for `RangeFrom`/`RangeTo` and from the
 * start of the decode range for `SetPosition`. Durations are milliseconds, truncated.
 *
 * Text is zero-terminated `wchar_t` text of 32-bit code points. In file names the values U+DC80 to
 * U+DCFF stand for the raw bytes 0x80 to 0xFF, so that a name that is not valid UTF-8 can be
 * passed.
 *
 * The header is plain C: it compiles as C11 and as C++20.
 */
#ifndef WAVECODEC_CODEC_MODULE_H
#define WAVECODEC_CODEC_MODULE_H

/* C headers on purpose: C hosts include this file too.  NOLINTBEGIN(modernize-*) */
#include <assert.h>
#include <stddef.h>
#include <stdint.h>
#include <wchar.h>

#ifdef __cplusplus
#define WAVECODEC_STATIC_ASSERT(condition, text) static_assert(condition, text)
extern "C" {
#else
#define WAVECODEC_STATIC_ASSERT(condition, text) _Static_assert(condition, text)
#endif

#define WAVECODEC_ASSERT_FIELD(record, field, offset, width)                         \
  WAVECODEC_STATIC_ASSERT(                                                           \
      offsetof(record, field) == (offset) && sizeof(((record*)0)->field) == (width), \
      #record "." #field " is not where the binary interface has it")

WAVECODEC_STATIC_ASSERT(sizeof(wchar_t) == 4, "wide text is 32-bit");
WAVECODEC_STATIC_ASSERT(sizeof(void*) == 8, "the interface is for 64-bit systems");

/* ------------------------------------------------------------------------------------------------
 * Wave formats (little-endian, no padding), as a `fmt ` chunk stores them.
 * --------------------------------------------------------------------------------------------- */

/** Wave format tags that the module knows by name. */
enum WaveFormatTag {
  WaveFormatPCM = 1,               /**< integer PCM; 8 bits and fewer unsigned, else signed */
  WaveFormatADPCM = 2,             /**< ADPCM: described, never decoded */
  WaveFormatIEEEFloat = 3,         /**< IEEE 754 float, 32 or 64 bits */
  WaveFormatALaw = 6,              /**< A-law: described, never decoded */
  WaveFormatMuLaw = 7,             /**< mu-law: described, never decoded */
  WaveFormatMPEG = 0x50,           /**< MPEG-1 audio layer 1 or 2 */
  WaveFormatMPEGLayer3 = 0x55,     /**< MPEG-1 audio layer 3 */
  WaveFormatExtensibleTag = 0xFFFE /**< the format is told by `SubFormat` */
};

#pragma pack(push, 1)

/** The oldest form of a wave format: no sample size, no extra bytes. */
typedef struct WAVEFORMAT {
  uint16_t wFormatTag;      /**< a WaveFormatTag, or any other registered tag */
  uint16_t nChannels;       /**< samples in a frame */
  uint32_t nSamplesPerSec;  /**< sample frames in a second */
  uint32_t nAvgBytesPerSec; /**< stored bytes in a second */
  uint16_t nBlockAlign;     /**< bytes of a sample frame (of a packet, for compressed formats) */
} WAVEFORMAT;

/** A wave format with sample size; `cbSize` more bytes follow where a whole format is stored. */
typedef struct tWAVEFORMATEX {
  uint16_t wFormatTag;      /**< a WaveFormatTag, or any other registered tag */
  uint16_t nChannels;       /**< samples in a frame */
  uint32_t nSamplesPerSec;  /**< sample frames in a second */
  uint32_t nAvgBytesPerSec; /**< stored bytes in a second */
  uint16_t nBlockAlign;     /**< bytes of a sample frame */
  uint16_t wBitsPerSample;  /**< bits of a stored sample */
  uint16_t cbSize;          /**< bytes that follow this structure */
} tWAVEFORMATEX;

/** The sub-format GUID of an extensible wave format, as its 16 stored bytes. */
typedef struct WaveFormatGUID {
  uint8_t Bytes[16];
} WaveFormatGUID;

/** A wave format whose tag is 0xFFFE: real sample size, speaker positions and a sub-format. */
typedef struct WAVEFORMATEXTENSIBLE {
  tWAVEFORMATEX Format;         /**< `wFormatTag` 0xFFFE, `cbSize` at least 22 */
  uint16_t wValidBitsPerSample; /**< bits that carry signal, the rest of the container is zero */
  uint32_t dwChannelMask;       /**< one bit per speaker position, lowest first */
  WaveFormatGUID SubFormat;     /**< {tag-0000-0010-8000-00AA00389B71} for the tags above */
} WAVEFORMATEXTENSIBLE;

#pragma pack(pop)

WAVECODEC_STATIC_ASSERT(sizeof(WAVEFORMAT) == 14, "WAVEFORMAT");
WAVECODEC_STATIC_ASSERT(sizeof(tWAVEFORMATEX) == 18, "WAVEFORMATEX");
WAVECODEC_STATIC_ASSERT(sizeof(WAVEFORMATEXTENSIBLE) == 40, "WAVEFORMATEXTENSIBLE");

/* ------------------------------------------------------------------------------------------------
 * Host records. 4-byte packing: a 64-bit field may stand at any multiple of 4. Clear a record to
 * zero before filling it in.
 * --------------------------------------------------------------------------------------------- */

#pragma pack(push, 4)

/**
 * Where the diagnostic report goes: three file descriptors, each widened to the width of a pointer.
 * 0 and -1 discard that kind of text; a zero-filled record silences the report. The module copies
 * the record in `Create`, writes UTF-8 lines that end in CR LF, and never closes a descriptor.
 */
typedef struct STNStdReport {
  intptr_t ErrorHandle;       /**< one line for each failure */
  intptr_t InformationHandle; /**< warnings about what is odd in a file */
  intptr_t DebugHandle;       /**< the running trace, with a copy of every error and warning */
} STNStdReport;

/** Bits of `STZuOpenDecoder::flags`. */
enum ZuOpenFlag {
  ZuOpenDecode = 1,     /**< fill the audio information and prepare decoding */
  ZuOpenPackets = 2,    /**< data will be pushed block by block: `mp3.dll` alone takes it */
  ZuOpenInfo = 4,       /**< fill the audio information */
  ZuOpenTags = 8,       /**< read the tags and return the tag block */
  ZuOpenProperties = 16 /**< return the properties text */
};

/** What `Open` tells about the audio of a source. */
typedef struct STZuAudioInfo {
  /**
   * The decoded format. When it is not extensible only the first 18 bytes are written and the other
   * 22 keep what the host put there. `cbSize` is 0 in an 18-byte format and 22 in a 40-byte one.
   */
  WAVEFORMATEXTENSIBLE format;
  int32_t bitRate;      /**< bits per second of the stored data (32 bits of it) */
  uint64_t lengthMs;    /**< duration of the decode range, milliseconds */
  uint64_t lengthBytes; /**< stored bytes in the decode range */
  uint8_t reserved[8];  /**< not written by this module */
} STZuAudioInfo;

/**
 * The tag block and the properties block have one form, a list of named entries. All numbers are
 * little-endian and nothing is aligned:
 *
 *     4 bytes   number of entries, unsigned
 *     then each entry:
 *     4 bytes   bytes of the whole entry, these four included, signed
 *     text      name, in 16-bit units, ended by one zero unit
 *     text      value, in the same form
 *     rest      binary payload; often empty
 *
 * A unit is the low 16 bits of a character: there are no surrogate pairs. Names are compared without
 * regard to case; one that occurs several times has several values, and several values of an ID3v2
 * field are one value joined by carriage returns. Names that begin with "_" are no user tags:
 *
 *     _albumart_N_KIND        a picture: payload is the picture file, N counts from 1, KIND is one of
 *                             the 19 named kinds ("Front Album Cover") or "Undefined"; a description
 *                             follows as "<subdesc>" and the text
 *     _cdtoc                  payload is a CD's table of contents as a drive's READ TOC gives it
 *     _riff_N                 another chunk of the file, in file order: payload is its four-character
 *                             ID and its data (`fmt ` and `data`: the ID only)
 */

/** The argument of `Open`. */
typedef struct STZuOpenDecoder {
  const wchar_t* fileName; /**< a local path or an `http://` address; null fails */
  uint32_t flags;          /**< what to do: bits of ZuOpenFlag; 0 only scans the file */
  STZuAudioInfo audioInfo; /**< filled when flag 1 or 4 is set */
  const void*
      tagData;      /**< flag 8: the tag block; valid until the next `Open`, `Close`, `Destroy` */
  uint32_t tagSize; /**< flag 8: bytes of the tag block */
  const void* propsData; /**< flag 16: the properties block; valid as `tagData` */
  uint32_t propsSize;    /**< flag 16: bytes of the properties block */
  uint8_t reserved[24];  /**< not used by this module */
} STZuOpenDecoder;

/** The argument of `DecodeBlock`. */
typedef struct STZuAudioBlock {
  const void* data;   /**< decoded bytes; valid until the next call on the instance */
  uint32_t byteCount; /**< bytes at `data` */
  /** The format of the decoded bytes; 18 or 40 bytes are written, as in `STZuAudioInfo::format`. */
  WAVEFORMATEXTENSIBLE format;
  int32_t bitRate;       /**< bits per second of the stored data */
  uint64_t blockMs;      /**< duration of this block's decoded bytes, milliseconds */
  uint8_t reserved1[16]; /**< not written by this module */
  uint64_t positionMs;   /**< time of the read position before this block, from the range's start */
  uint32_t lastBlock; /**< 1 when nothing remains after this block (or nothing was left), else 0 */
  uint8_t reserved2[24]; /**< not written by this module */
} STZuAudioBlock;

/** The argument of `Close`: the host's own; this module reads none of it and only hands it on. */
typedef struct STZuEncoderFluid STZuEncoderFluid;

/** The record of `Get` and `Set`. Fields that a key does not name are neither read nor written. */
typedef struct STZuCodecGetSet {
  int32_t Index;     /**< which item of an enumerated answer, from 0 */
  int32_t SubIndex;  /**< which choice of an option, from 0; "IDTags": bytes of the tag block */
  int64_t RangeFrom; /**< "Set Decode Range": first sample frame to decode */
  int64_t RangeTo;   /**< "Set Decode Range": end of the range (exclusive), -1 for all there is */
  const wchar_t* Text1; /**< first text of an answer; "IDTags": name of the file to write */
  const wchar_t* Text2; /**< second text of an answer */
  const wchar_t* Text3; /**< third text of an answer */
  const void* Data;     /**< "IDTags": the tag block to write */
} STZuCodecGetSet;

#pragma pack(pop)

WAVECODEC_ASSERT_FIELD(STNStdReport, ErrorHandle, 0, 8);
WAVECODEC_ASSERT_FIELD(STNStdReport, InformationHandle, 8, 8);
WAVECODEC_ASSERT_FIELD(STNStdReport, DebugHandle, 16, 8);
WAVECODEC_STATIC_ASSERT(sizeof(STNStdReport) == 24, "STNStdReport");

WAVECODEC_ASSERT_FIELD(STZuAudioInfo, format, 0, 40);
WAVECODEC_ASSERT_FIELD(STZuAudioInfo, bitRate, 40, 4);
WAVECODEC_ASSERT_FIELD(STZuAudioInfo, lengthMs, 44, 8);
WAVECODEC_ASSERT_FIELD(STZuAudioInfo, lengthBytes, 52, 8);
WAVECODEC_ASSERT_FIELD(STZuAudioInfo, reserved, 60, 8);
WAVECODEC_STATIC_ASSERT(sizeof(STZuAudioInfo) == 68, "STZuAudioInfo");

WAVECODEC_ASSERT_FIELD(STZuOpenDecoder, fileName, 0, 8);
WAVECODEC_ASSERT_FIELD(STZuOpenDecoder, flags, 8, 4);
WAVECODEC_ASSERT_FIELD(STZuOpenDecoder, audioInfo, 12, 68);
WAVECODEC_ASSERT_FIELD(STZuOpenDecoder, tagData, 80, 8);
WAVECODEC_ASSERT_FIELD(STZuOpenDecoder, tagSize, 88, 4);
WAVECODEC_ASSERT_FIELD(STZuOpenDecoder, propsData, 92, 8);
WAVECODEC_ASSERT_FIELD(STZuOpenDecoder, propsSize, 100, 4);
WAVECODEC_ASSERT_FIELD(STZuOpenDecoder, reserved, 104, 24);
WAVECODEC_STATIC_ASSERT(sizeof(STZuOpenDecoder) == 128, "STZuOpenDecoder");

WAVECODEC_ASSERT_FIELD(STZuAudioBlock, data, 0, 8);
WAVECODEC_ASSERT_FIELD(STZuAudioBlock, byteCount, 8, 4);
WAVECODEC_ASSERT_FIELD(STZuAudioBlock, format, 12, 40);
WAVECODEC_ASSERT_FIELD(STZuAudioBlock, bitRate, 52, 4);
WAVECODEC_ASSERT_FIELD(STZuAudioBlock, blockMs, 56, 8);
WAVECODEC_ASSERT_FIELD(STZuAudioBlock, reserved1, 64, 16);
WAVECODEC_ASSERT_FIELD(STZuAudioBlock, positionMs, 80, 8);
WAVECODEC_ASSERT_FIELD(STZuAudioBlock, lastBlock, 88, 4);
WAVECODEC_ASSERT_FIELD(STZuAudioBlock, reserved2, 92, 24);
WAVECODEC_STATIC_ASSERT(sizeof(STZuAudioBlock) == 116, "STZuAudioBlock");

WAVECODEC_ASSERT_FIELD(STZuCodecGetSet, Index, 0, 4);
WAVECODEC_ASSERT_FIELD(STZuCodecGetSet, SubIndex, 4, 4);
WAVECODEC_ASSERT_FIELD(STZuCodecGetSet, RangeFrom, 8, 8);
WAVECODEC_ASSERT_FIELD(STZuCodecGetSet, RangeTo, 16, 8);
WAVECODEC_ASSERT_FIELD(STZuCodecGetSet, Text1, 24, 8);
WAVECODEC_ASSERT_FIELD(STZuCodecGetSet, Text2, 32, 8);
WAVECODEC_ASSERT_FIELD(STZuCodecGetSet, Text3, 40, 8);
WAVECODEC_ASSERT_FIELD(STZuCodecGetSet, Data, 48, 8);
WAVECODEC_STATIC_ASSERT(sizeof(STZuCodecGetSet) == 56, "STZuCodecGetSet");

/* ------------------------------------------------------------------------------------------------
 * Entry points. A host looks them up by name; the typedefs give their types.
 * --------------------------------------------------------------------------------------------- */

/**
 * Makes a decoder instance.
 * @param report where its report goes; copied. Null is a silent report.
 * @return the instance, or null when there is no memory. Nothing is open; the decode range is
 *         everything. End it with `Destroy`.
 */
typedef void* (*ZuCreateFn)(const STNStdReport* report);

/**
 * Ends an instance: closes what is open and frees all memory that it returned. Null is ignored.
 * @return always 1.
 */
typedef uint32_t (*ZuDestroyFn)(void* instance);

/**
 * Opens a source and does what the request flags ask for.
 * @param record in: `fileName`, `flags`; out: what the flags name.
 * @return 1 on success. On failure 0: the instance has nothing left to decode; what was already
 * written into the record stays written; call `Close`, `Open` or `Destroy` next.
 *
 * Flag 2 fails before anything is opened. Flags 8 and 16 alone succeed, with nothing filled in, on
 * a Wave file that has no `fmt ` or no `data` chunk; flags 1 and 4 fail on it.
 */
typedef uint32_t (*ZuOpenFn)(void* instance, STZuOpenDecoder* record);

/**
 * Closes the source. Allowed at any time, also twice or without `Open`.
 * @param fluid handed on to a sub-decoder; may be null.
 * @return 1. Pointers into tag, properties and audio data become invalid.
 */
typedef uint32_t (*ZuCloseFn)(void* instance, STZuEncoderFluid* fluid);

/**
 * Decodes the next block: whole sample frames, at most 65,536 stored bytes, as they are stored. MPEG
 * data come as the samples that a sub-decoder makes of as many stored bytes, in the format that `Open`
 * told.
 * @param block out: every field that is not reserved. When nothing was left at the call, only
 *        `positionMs` and `lastBlock` (1) are written; when less than a sample frame was left,
 *        `byteCount` is 0 and `lastBlock` 1.
 * @return 1 on success, also at the end. On failure 0. A failed read does not move the position, so
 *         the call may be repeated.
 *
 * After an `Open` with flag 2 the block brings data: `byteCount` stored bytes at `data`, cut anywhere,
 * `lastBlock` 1 with the last of them. What can be decoded of all that came by now takes their place;
 * there may be nothing yet (`byteCount` 0).
 *
 * One read of the file a call, into the memory that `data` points at; no allocation after the
 * first. A read from a server waits for it, but not forever: a silent or dripping one ends the call.
 */
typedef uint32_t (*ZuDecodeBlockFn)(void* instance, STZuAudioBlock* block);

/**
 * Moves to a sample frame of the decode range; the next `DecodeBlock` starts there.
 * @param frames counted from the start of the range. Beyond the end is the end. A negative number
 * counts back from the start of the range, into what lies before it in the file.
 * @return 1 on success. On failure (no open file, a position before the file, a server that gives no
 * ranges) 0: the position is as it was. A sub-decoder goes on from where it was: what it has decoded
 * comes first, then it looks for the next frame.
 */
typedef uint32_t (*ZuSetPositionFn)(void* instance, int64_t frames);

/**
 * Deletes tags from a file, in place. Works on a file name; needs no `Open`. What is said of "IDTags"
 * at ZuSetFn holds here, too.
 * @param fileName a local file.
 * @param names a packed list: zero-terminated names one after another, ended by an empty name. Null
 * or an empty list deletes all `LIST`, ID3v2 and `bext` tags.
 * @return 1 when the tags are gone. On failure 0.
 */
typedef uint32_t (*ZuDeleteATagFn)(void* instance, const wchar_t* fileName, const wchar_t* names);

/**
 * Asks the module what it can do. The key is compared exactly.
 *
 * | key                         | uses                | sets                                    |
 * |-----------------------------|---------------------|-----------------------------------------|
 * | "Decodes"                   | `Index`             | `Text1` extension, `Text2` format name  |
 * | "StreamingDecodes"          | `Index`             | `Text1` MIME type                       |
 * | "Decoder Description"       |                     | `Text1` description                     |
 * | "Property Elements"         |                     | `Text1` property names, separated by CR |
 * | "Default Property Elements" |                     | `Text1` those shown by default          |
 * | "ID Tag Options"            | `Index`, `SubIndex` | `Text1` option, `Text2` settings path,  |
 * |                             |                     | `Text3` choice                          |
 *
 * Enumerated answers are asked for with an index that counts up from 0 until the result is 0.
 * @return 1 when the key is known and there is such an item. On 0 the record is as it was. Texts
 * stay valid until the next `Get` on the instance or `Destroy`.
 */
typedef uint32_t (*ZuGetFn)(void* instance, const wchar_t* key, STZuCodecGetSet* record);

/**
 * Tells the module something. The key is compared exactly.
 *
 * - "Set Decode Range" uses `RangeFrom` and `RangeTo`; it holds for this and every later `Open` of
 * the instance, from the next one on. Numbers outside the audio are cut to it.
 * - "IDTags" writes the tags of the block `Data` of `SubIndex` bytes into the file `Text1`, in place.
 * Tags of other names stay in the file; an empty value deletes. Where the tags go is the user's
 * choice (see "ID Tag Options" at ZuGetFn); `_riff_N` entries are not written. Only one program
 * changes a file at a time: others wait for it, some seconds at most. A source that is being decoded
 * must be opened again afterwards: its audio may have moved.
 *
 * @return 1 when the key is known and the value was taken. On 0 nothing has changed, except that a
 * change of a file which fails or is killed in its midst is finished by the next `Open`,
 * "IDTags" or `DeleteATag` of that file, with the help of a journal that lies beside it meanwhile
 * (`<file>.wave-journal`).
 */
typedef uint32_t (*ZuSetFn)(void* instance, const wchar_t* key, STZuCodecGetSet* record);

/* A host that only uses `dlsym` may define WAVECODEC_NO_PROTOTYPES to keep these names free. */
#ifndef WAVECODEC_NO_PROTOTYPES
#ifndef WAVECODEC_EXPORT
#define WAVECODEC_EXPORT
#endif

WAVECODEC_EXPORT void* Create(const STNStdReport* report);
WAVECODEC_EXPORT uint32_t Destroy(void* instance);
WAVECODEC_EXPORT uint32_t Open(void* instance, STZuOpenDecoder* record);
WAVECODEC_EXPORT uint32_t Close(void* instance, STZuEncoderFluid* fluid);
WAVECODEC_EXPORT uint32_t DecodeBlock(void* instance, STZuAudioBlock* block);
WAVECODEC_EXPORT uint32_t SetPosition(void* instance, int64_t frames);
WAVECODEC_EXPORT uint32_t DeleteATag(void* instance, const wchar_t* fileName, const wchar_t* names);
WAVECODEC_EXPORT uint32_t Get(void* instance, const wchar_t* key, STZuCodecGetSet* record);
WAVECODEC_EXPORT uint32_t Set(void* instance, const wchar_t* key, STZuCodecGetSet* record);

/**
 * The module's own handle. The host stores here what `dlopen` returned for the module, before it
 * calls `Open`; the module reads it to find its own folder, where sub-decoder modules lie. Left
 * null, the module finds its folder by itself. The module never writes it.
 */
WAVECODEC_EXPORT extern void* gInstance;
#endif /* WAVECODEC_NO_PROTOTYPES */

#ifdef __cplusplus
}
#endif
/* NOLINTEND(modernize-*) */

#undef WAVECODEC_ASSERT_FIELD
#undef WAVECODEC_STATIC_ASSERT

#endif /* WAVECODEC_CODEC_MODULE_H */
