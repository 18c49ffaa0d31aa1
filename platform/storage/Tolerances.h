#pragma once

#include <cstdint>

// What a reader here forgives in files of other writers: each deviation is harmless, is made by well-known writers, and
// has its one place in this header. What is written is always strict, and a change makes good what it touches.
namespace storage::tolerance {

// The minor version says nothing about the layout: any is read.
constexpr bool acceptsMinorVersion(std::uint16_t) {
    return true;
}

// A version 3 stream is shorter than 2 GiB, and some writers leave rubbish in the upper half of its size field.
constexpr std::uint64_t streamSize(unsigned majorVersion, std::uint64_t field) {
    return majorVersion == 3 ? field & 0xFFFFFFFF : field;
}

// The header counts the sectors of several tables. The chains themselves say how many there are, and nothing reads the
// counts but that of the allocation sectors: a list of them that ends before its count does is an error.

// Bytes behind the last sector that the allocation table knows, and a last sector that the file holds in part only
// (the rest reads as zero): the number of sectors that a file of `bytesAfterHeader` has.
constexpr std::uint64_t sectorsInFile(std::uint64_t bytesAfterHeader, unsigned sectorShift) {
    return (bytesAfterHeader + (std::uint64_t{1} << sectorShift) - 1) >> sectorShift;
}

// A stream may own more sectors than its size needs; they are freed with it.
constexpr bool acceptsChain(std::uint64_t sectorsOwned, std::uint64_t sectorsNeeded) {
    return sectorsOwned >= sectorsNeeded;
}

// Look-up and enumeration go by the order of names alone. A sibling tree that is unbalanced, all red or all black, or
// breaks the rules of the colours otherwise, is read as it is; the first change in it builds it anew.
constexpr bool readsTreeWithoutColours() {
    return true;
}

} // namespace storage::tolerance
