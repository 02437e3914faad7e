#pragma once
/// The vector operations of RowKernelsFor.h as plain loops over 16 bytes, for any processor.

#include <cstdint>
#include <cstring>

#include "platform/imaging/IppTypes.h"

namespace qrn {
namespace {

struct VectorPlain {
    static constexpr int kBytes = 16;
    static constexpr const char* kName = "plain";

    struct Register {
        alignas(kBytes) Ipp8u bytes[kBytes];
    };

    template <class Element>
    struct Elements {
        static constexpr int kCount = kBytes / static_cast<int>(sizeof(Element));
        Element at[kCount];
    };

    template <class Element>
    static Elements<Element> As(const Register& from) {
        Elements<Element> elements;
        std::memcpy(elements.at, from.bytes, kBytes);
        return elements;
    }
    template <class Element>
    static Register Of(const Elements<Element>& from) {
        Register made;
        std::memcpy(made.bytes, from.at, kBytes);
        return made;
    }
    /// Element by element.
    template <class Element, class Make>
    static Register Each(const Register& a, const Register& b, Make make) {
        const auto first = As<Element>(a);
        const auto second = As<Element>(b);
        Elements<Element> made;
        for (int index = 0; index < Elements<Element>::kCount; ++index) {
            made.at[index] = static_cast<Element>(make(first.at[index], second.at[index]));
        }
        return Of(made);
    }
    template <class Element>
    static Register Unpack(const Register& a, const Register& b, int from) {
        const auto first = As<Element>(a);
        const auto second = As<Element>(b);
        Elements<Element> made;
        for (int index = 0; index < Elements<Element>::kCount; index += 2) {
            made.at[index] = first.at[from + index / 2];
            made.at[index + 1] = second.at[from + index / 2];
        }
        return Of(made);
    }
    template <class Wide, class Narrow>
    static Register Pack(const Register& a, const Register& b, Wide least, Wide most) {
        const auto first = As<Wide>(a);
        const auto second = As<Wide>(b);
        constexpr int kHalf = Elements<Wide>::kCount;
        Elements<Narrow> made;
        for (int index = 0; index < 2 * kHalf; ++index) {
            const Wide value = index < kHalf ? first.at[index] : second.at[index - kHalf];
            made.at[index] = static_cast<Narrow>(value < least ? least : value > most ? most : value);
        }
        return Of(made);
    }

    static Register Load(const void* from) {
        Register made;
        std::memcpy(made.bytes, from, kBytes);
        return made;
    }
    static void Store(void* to, Register value) { std::memcpy(to, value.bytes, kBytes); }
    static Register All8(int value) {
        Register made;
        std::memset(made.bytes, value, kBytes);
        return made;
    }
    static Register All16(int value) {
        return Each<std::int16_t>(All8(0), All8(0), [=](int, int) { return value; });
    }
    static Register All32(int value) {
        return Each<std::int32_t>(All8(0), All8(0), [=](int, int) { return value; });
    }
    static Register And(Register a, Register b) {
        return Each<Ipp8u>(a, b, [](int x, int y) { return x & y; });
    }
    static Register Or(Register a, Register b) {
        return Each<Ipp8u>(a, b, [](int x, int y) { return x | y; });
    }
    static Register Xor(Register a, Register b) {
        return Each<Ipp8u>(a, b, [](int x, int y) { return x ^ y; });
    }
    static Register Sub8(Register a, Register b) {
        return Each<Ipp8u>(a, b, [](int x, int y) { return x - y; });
    }
    static Register Mean8(Register a, Register b) {
        return Each<Ipp8u>(a, b, [](int x, int y) { return (x + y + 1) >> 1; });
    }
    static Register Mean16(Register a, Register b) {
        return Each<std::uint16_t>(a, b, [](int x, int y) { return (x + y + 1) >> 1; });
    }
    static Register Add16(Register a, Register b) {
        return Each<std::uint16_t>(a, b, [](int x, int y) { return x + y; });
    }
    static Register Sub16(Register a, Register b) {
        return Each<std::uint16_t>(a, b, [](int x, int y) { return x - y; });
    }
    static Register MulLow16(Register a, Register b) {
        return Each<std::uint16_t>(a, b, [](unsigned x, unsigned y) { return x * y; });
    }
    static Register MulHigh16(Register a, Register b) {
        return Each<std::int16_t>(a, b, [](int x, int y) { return (x * y) >> 16; });
    }
    static Register MulHighU16(Register a, Register b) {
        return Each<std::uint16_t>(a, b, [](unsigned x, unsigned y) { return (x * y) >> 16; });
    }
    template <int Bits>
    static Register Left16(Register a) {
        return Each<std::uint16_t>(a, a, [](int x, int) { return x << Bits; });
    }
    template <int Bits>
    static Register Right16(Register a) {
        return Each<std::uint16_t>(a, a, [](int x, int) { return x >> Bits; });
    }
    template <int Bits>
    static Register SignedRight16(Register a) {
        return Each<std::int16_t>(a, a, [](int x, int) { return x >> Bits; });
    }
    static Register Add32(Register a, Register b) {
        return Each<std::uint32_t>(a, b, [](unsigned x, unsigned y) { return x + y; });
    }
    template <int Bits>
    static Register SignedRight32(Register a) {
        return Each<std::int32_t>(a, a, [](int x, int) { return x >> Bits; });
    }
    /// Products of 16 bits, added in pairs to 32.
    static Register MulAdd16(Register a, Register b) {
        const auto first = As<std::int16_t>(a);
        const auto second = As<std::int16_t>(b);
        Elements<std::int32_t> made;
        for (int index = 0; index < Elements<std::int32_t>::kCount; ++index) {
            made.at[index] =
                first.at[2 * index] * second.at[2 * index] + first.at[2 * index + 1] * second.at[2 * index + 1];
        }
        return Of(made);
    }
    static Register PackToBytes(Register a, Register b) { return Pack<std::int16_t, Ipp8u>(a, b, 0, 255); }
    static Register PackTo16(Register a, Register b) {
        return Pack<std::int32_t, std::int16_t>(a, b, INT16_MIN, INT16_MAX);
    }
    static Register UnpackLow8(Register a, Register b) { return Unpack<Ipp8u>(a, b, 0); }
    static Register UnpackHigh8(Register a, Register b) { return Unpack<Ipp8u>(a, b, 8); }
    static Register UnpackLow16(Register a, Register b) { return Unpack<std::uint16_t>(a, b, 0); }
    static Register UnpackHigh16(Register a, Register b) { return Unpack<std::uint16_t>(a, b, 4); }

    /// The sums of neighbouring pairs of 16-bit numbers: those of `a`, then those of `b`.
    static Register AddNeighbours(Register a, Register b) {
        const auto first = As<std::uint32_t>(a);
        const auto second = As<std::uint32_t>(b);
        Elements<std::uint32_t> even;
        Elements<std::uint32_t> odd;
        for (int index = 0; index < 2; ++index) {
            even.at[index] = first.at[2 * index];
            odd.at[index] = first.at[2 * index + 1];
            even.at[index + 2] = second.at[2 * index];
            odd.at[index + 2] = second.at[2 * index + 1];
        }
        return Add16(Of(even), Of(odd));
    }
    /// Half as many bytes, as numbers of 16 bits that are 256 times as much.
    static Register LoadChroma(const Ipp8u* from) {
        Elements<std::uint16_t> made;
        for (int index = 0; index < kBytes / 2; ++index) {
            made.at[index] = static_cast<std::uint16_t>(from[index] * 256);
        }
        return Of(made);
    }
    struct Two {
        Register low;
        Register high;
    };
    static Two LoadTwo(const void* from) { return {Load(from), Load(static_cast<const Ipp8u*>(from) + kBytes)}; }
    static void StoreTwo(void* to, Register a, Register b) {
        Store(to, a);
        Store(static_cast<Ipp8u*>(to) + kBytes, b);
    }
    static void StoreFour(Ipp8u* to, Register a, Register b, Register c, Register d) {
        StoreTwo(to, a, b);
        StoreTwo(to + 2 * kBytes, c, d);
    }
    /// The bytes of the three in turns.
    static void StoreThree(Ipp8u* to, Register a, Register b, Register c) {
        for (int index = 0; index < kBytes; ++index) {
            to[3 * index] = a.bytes[index];
            to[3 * index + 1] = b.bytes[index];
            to[3 * index + 2] = c.bytes[index];
        }
    }
    /// Blue and red of a quarter of a block, and green and zero, as numbers of 16 bits.
    static Two LoadPixels24(const Ipp8u* from) {
        Two made{};
        for (int pixel = 0; pixel < 4; ++pixel) {
            made.low.bytes[4 * pixel] = from[3 * pixel];
            made.low.bytes[4 * pixel + 2] = from[3 * pixel + 2];
            made.high.bytes[4 * pixel] = from[3 * pixel + 1];
        }
        return made;
    }
    static Register InOrder(Register bytes) { return bytes; }
    static void StoreChroma(Ipp8u* cb, Ipp8u* cr, Register both) {
        std::memcpy(cb, both.bytes, kBytes / 2);
        std::memcpy(cr, both.bytes + kBytes / 2, kBytes / 2);
    }
    /// Of two registers of one order.
    static Register PackToBytesInOrder(Register a, Register b) { return PackToBytes(a, b); }
    /// Products of unsigned bytes and signed factors, added in pairs to 16 bits, which hold the sum.
    static Register MulAdd8(Register bytes, Register factors) {
        const auto signedFactors = As<std::int8_t>(factors);
        Elements<std::int16_t> made;
        for (int index = 0; index < kBytes / 2; ++index) {
            made.at[index] = static_cast<std::int16_t>(bytes.bytes[2 * index] * signedFactors.at[2 * index] +
                                                       bytes.bytes[2 * index + 1] * signedFactors.at[2 * index + 1]);
        }
        return Of(made);
    }
    /// a * b / 32768, rounded to the nearest.
    static Register MulRound16(Register a, Register b) {
        return Each<std::int16_t>(a, b, [](int x, int y) { return (x * y + (1 << 14)) >> 15; });
    }
    /// Rounded to the nearest, for numbers that leave room for it.
    template <int Bits>
    static Register RoundRight16(Register a) {
        return Each<std::int16_t>(a, a, [](int x, int) { return (x + (1 << (Bits - 1))) >> Bits; });
    }
    /// For each place the byte there and its neighbour.
    static Register LoadPairs(const Ipp8u* from, const std::int32_t* places) {
        Register made;
        for (int index = 0; index < kBytes / 2; ++index) {
            std::memcpy(made.bytes + 2 * index, from + places[index], 2);
        }
        return made;
    }
    /// Whether there are PairsInWindow and PairsInWindows (PairColumns).
    static constexpr bool kHasWindows = false;
};

}  // namespace
}  // namespace qrn
