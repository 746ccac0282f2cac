#pragma once

#include <cstdint>
#include <memory>

namespace pwr {

// A byte store with a read head and a write head, both 0 at first. Offsets and counts are in bytes.
class ZTBufferProvider {
public:
    virtual ~ZTBufferProvider() = default;

    // Copies up to `count` bytes from the read head on and moves it after them. Returns the number of bytes,
    // less than `count` only at the end of the data, or -1.
    virtual std::int64_t read(void* destination, unsigned long count) = 0;

    // Puts `count` bytes at the write head, over what is there, and moves it after them; the data grows when
    // they pass its end. Returns `count`, or -1; the bytes may then have been taken in part.
    virtual std::int64_t write(const void* source, unsigned long count) = 0;

    // As read, but leaves the read head where it is.
    virtual std::int64_t peek(void* destination, unsigned long count) = 0;

    // The number of bytes held.
    virtual std::uint64_t size() const = 0;

    // Moves the read head to the start of the data, for reading forwards.
    virtual void resetForRead() = 0;

    // Moves the read head to the end of the data, for reading backwards.
    virtual void resetForReadBack() = 0;

    // Moves the write head to the read head. Bytes at or above it that were written since the last change of
    // position may be lost if they have not been read first.
    virtual void writeToReadHead() = 0;

    // Returns a new, empty store of the same kind, which may throw what its constructor throws. The argument
    // is ignored.
    virtual std::unique_ptr<ZTBufferProvider> clone(unsigned long) = 0;

    // Opens a gap of `count` bytes at `position` and fills it. The write head ends at the end of the data,
    // the read head stays. Returns 0, or -1 if `position` is above the size or a step failed.
    virtual std::int32_t insert(unsigned long position, const void* source, unsigned long count) = 0;

    // Copies up to `count` bytes that end at the read head and moves it in front of them. They end at
    // `destination` + `count`, in their logical order. Returns the number of bytes, less than `count` only at
    // the start of the data, or -1.
    virtual std::int64_t readBack(void* destination, unsigned long count) = 0;
};

}  // namespace pwr
