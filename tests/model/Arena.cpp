#include "Arena.h"

#include <array>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

namespace orvane::plexa::test {
namespace {

constexpr std::size_t kSize = std::size_t{32} << 20U;
// Sizes are rounded up to multiples of kFine, above kFineMost of kCoarse, above kCoarseMost to powers of two.
constexpr std::size_t kFine = 16;
constexpr std::size_t kFineMost = 512;
constexpr std::size_t kCoarse = 128;
constexpr std::size_t kCoarseMost = 8192;
constexpr std::size_t kFineClasses = kFineMost / kFine;
constexpr std::size_t kCoarseClasses = kFineClasses + (kCoarseMost - kFineMost) / kCoarse;
constexpr std::size_t kClasses = kCoarseClasses + 16;
constexpr std::size_t kHeaderBytes = 16;  // before each piece; keeps the usual alignment

/// Stands right before a piece: where its memory begins, and of which class it is.
struct Header {
    std::uint32_t begin;
    std::uint32_t sizeClass;
};

/// At the start of the arena, so that it is saved with the rest.
struct Books {
    std::uint32_t end;
    std::array<std::uint32_t, kClasses> free;  // the first free piece of each class; 0: none
};

alignas(64) std::array<std::byte, kSize> sMemory;
bool sOpen = false;

Books& TheBooks() { return *reinterpret_cast<Books*>(sMemory.data()); }

std::uint32_t& NextFree(std::uint32_t inPiece) {
    return *reinterpret_cast<std::uint32_t*>(sMemory.data() + inPiece);
}

std::size_t ClassOf(std::size_t inBytes) {
    if (inBytes <= kFineMost) {
        return (inBytes + kFine - 1) / kFine;
    }
    if (inBytes <= kCoarseMost) {
        return kFineClasses + (inBytes - kFineMost + kCoarse - 1) / kCoarse;
    }
    return kCoarseClasses + static_cast<std::size_t>(std::bit_width((inBytes - 1) / kCoarseMost));
}

std::size_t BytesOf(std::size_t inClass) {
    if (inClass <= kFineClasses) {
        return inClass * kFine;
    }
    if (inClass <= kCoarseClasses) {
        return kFineMost + (inClass - kFineClasses) * kCoarse;
    }
    return kCoarseMost << (inClass - kCoarseClasses);
}

bool Holds(const void* inPointer) {
    const auto address = reinterpret_cast<std::uintptr_t>(inPointer);
    const auto begin = reinterpret_cast<std::uintptr_t>(sMemory.data());
    return address >= begin && address < begin + kSize;
}

void* Take(std::size_t inBytes, std::size_t inAlignment) {
    const std::size_t slack = inAlignment > kHeaderBytes ? inAlignment : 0;
    const std::size_t sizeClass = ClassOf(inBytes + kHeaderBytes + slack);
    Books& books = TheBooks();
    std::uint32_t begin = books.free[sizeClass];
    if (begin != 0) {
        books.free[sizeClass] = NextFree(begin);
    } else {
        begin = books.end;
        if (begin + BytesOf(sizeClass) > kSize) {
            std::abort();  // a world that large is a mistake in the test
        }
        books.end += static_cast<std::uint32_t>(BytesOf(sizeClass));
    }
    std::size_t piece = begin + kHeaderBytes;
    if (slack != 0) {
        piece = (piece + inAlignment - 1) & ~(inAlignment - 1);
    }
    *reinterpret_cast<Header*>(sMemory.data() + piece - kHeaderBytes) = {
        begin, static_cast<std::uint32_t>(sizeClass)};
    return sMemory.data() + piece;
}

void Give(void* inPointer) {
    const Header header = *reinterpret_cast<const Header*>(static_cast<std::byte*>(inPointer) - kHeaderBytes);
    Books& books = TheBooks();
    NextFree(header.begin) = books.free[header.sizeClass];
    books.free[header.sizeClass] = header.begin;
}

void* Allocate(std::size_t inBytes, std::size_t inAlignment) {
    if (sOpen) {
        return Take(inBytes, inAlignment);
    }
    void* pointer = inAlignment <= alignof(std::max_align_t)
                        ? std::malloc(inBytes == 0 ? 1 : inBytes)
                        : std::aligned_alloc(inAlignment, (inBytes + inAlignment - 1) & ~(inAlignment - 1));
    if (pointer == nullptr) {
        throw std::bad_alloc();
    }
    return pointer;
}

void Free(void* inPointer) {
    if (Holds(inPointer)) {
        Give(inPointer);
    } else {
        std::free(inPointer);
    }
}

}  // namespace

Arena::Open::Open() noexcept { sOpen = true; }
Arena::Open::~Open() { sOpen = false; }

void Arena::Clear() noexcept {
    TheBooks() = {};
    TheBooks().end = (sizeof(Books) + 63) / 64 * 64;
}

void Arena::Save(std::vector<std::byte>& outImage) {
    outImage.assign(sMemory.begin(), sMemory.begin() + TheBooks().end);
}

void Arena::Restore(const std::vector<std::byte>& inImage) noexcept {
    std::memcpy(sMemory.data(), inImage.data(), inImage.size());
}

}  // namespace orvane::plexa::test

using orvane::plexa::test::Allocate;
using orvane::plexa::test::Free;

void* operator new(std::size_t inBytes) { return Allocate(inBytes, 1); }
void* operator new[](std::size_t inBytes) { return Allocate(inBytes, 1); }
void* operator new(std::size_t inBytes, std::align_val_t inAlignment) {
    return Allocate(inBytes, static_cast<std::size_t>(inAlignment));
}
void* operator new[](std::size_t inBytes, std::align_val_t inAlignment) {
    return Allocate(inBytes, static_cast<std::size_t>(inAlignment));
}
void operator delete(void* inPointer) noexcept { Free(inPointer); }
void operator delete[](void* inPointer) noexcept { Free(inPointer); }
void operator delete(void* inPointer, std::size_t) noexcept { Free(inPointer); }
void operator delete[](void* inPointer, std::size_t) noexcept { Free(inPointer); }
void operator delete(void* inPointer, std::align_val_t) noexcept { Free(inPointer); }
void operator delete[](void* inPointer, std::align_val_t) noexcept { Free(inPointer); }
void operator delete(void* inPointer, std::size_t, std::align_val_t) noexcept { Free(inPointer); }
void operator delete[](void* inPointer, std::size_t, std::align_val_t) noexcept { Free(inPointer); }
