#pragma once

#include "Tests/Platform/CoreGraphics/ReferenceColors.h"

#include <cmath>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Makes ICC profiles byte by byte, so that a test itself decides what a profile describes.
class ProfileBuilder {
  public:
    using Bytes = std::vector<std::uint8_t>;

    /// Signatures such as "mntr", "RGB ", "XYZ ".
    ProfileBuilder(std::string_view deviceClass, std::string_view space,
                   std::string_view connection)
        : _class(deviceClass), _space(space), _connection(connection) {}

    ProfileBuilder &tag(std::string_view name, Bytes content) {
        content.resize((content.size() + 3) / 4 * 4);
        _tags.emplace_back(name, std::move(content));
        return *this;
    }

    Bytes finish() const {
        std::size_t offset = kHeaderSize + 4 + _tags.size() * 12;
        Bytes table = number(_tags.size(), 4), data;
        for (const auto &[name, content] : _tags) {
            append(table, name);
            append(table, number(offset + data.size(), 4));
            append(table, number(content.size(), 4));
            append(data, content);
        }
        Bytes file = header(offset + data.size());
        append(file, table);
        append(file, data);
        return file;
    }

    /// A display profile of three primaries and one curve for all of them.
    static Bytes ofSpace(const ColorSpace &space, const Bytes &curve) {
        const Matrix columns = transposed(adaptation(space.white.xyz(), kD50) * space.toXYZ());
        return ProfileBuilder("mntr", "RGB ", "XYZ ")
            .tag("wtpt", point(kD50))
            .tag("rXYZ", point(columns[0]))
            .tag("gXYZ", point(columns[1]))
            .tag("bXYZ", point(columns[2]))
            .tag("rTRC", curve)
            .tag("gTRC", curve)
            .tag("bTRC", curve)
            .finish();
    }

    static Bytes displayP3() { return ofSpace(::displayP3(), sRGBCurve()); }

    static Bytes adobeRGB() { return ofSpace(::adobeRGB(), powerCurve(563)); }

    static Bytes grey(const Bytes &curve) {
        return ProfileBuilder("mntr", "GRAY", "XYZ ")
            .tag("wtpt", point(kD50))
            .tag("kTRC", curve)
            .finish();
    }

    /// A profile of a printing press: each of the 16 corners of the ink cube is a colour of sRGB in
    /// XYZ, and colours between them are interpolated.
    static Bytes press() {
        Bytes table = typed("mft2");
        append(table, {4, 3, 2, 0});
        for (int i = 0; i < 9; ++i) {
            append(table, fixed(i % 4 == 0 ? 1 : 0));
        }
        append(table, {0, 2, 0, 2});
        for (int i = 0; i < 4; ++i) {
            append(table, {0, 0, 0xff, 0xff});
        }
        const Matrix toXYZ = adaptation(kD65.xyz(), kD50) * sRGB().toXYZ();
        for (int corner = 0; corner < 16; ++corner) {
            const bool isBlack = corner & 1;
            const Triple light{corner & 8 || isBlack ? 0.0 : 1.0, corner & 4 || isBlack ? 0.0 : 1.0,
                               corner & 2 || isBlack ? 0.0 : 1.0};
            for (const double value : toXYZ *light) {
                append(table, number(static_cast<std::size_t>(std::lround(value * 32768)), 2));
            }
        }
        for (int i = 0; i < 3; ++i) {
            append(table, {0, 0, 0xff, 0xff});
        }
        return ProfileBuilder("prtr", "CMYK", "XYZ ")
            .tag("wtpt", point(kD50))
            .tag("A2B0", table)
            .tag("A2B1", table)
            .finish();
    }

    static Bytes point(const Triple &xyz) {
        Bytes content = typed("XYZ ");
        for (const double value : xyz) {
            append(content, fixed(value));
        }
        return content;
    }

    /// The exponent in 256ths.
    static Bytes powerCurve(std::size_t power) {
        Bytes content = typed("curv");
        append(content, number(1, 4));
        append(content, number(power, 2));
        return content;
    }

    static Bytes sRGBCurve() {
        Bytes content = typed("para");
        append(content, {0, 3, 0, 0});
        for (const double value : {2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045}) {
            append(content, fixed(value));
        }
        return content;
    }

  private:
    static constexpr std::size_t kHeaderSize = 128;

    static void append(Bytes &bytes, std::span<const std::uint8_t> more) {
        bytes.insert(bytes.end(), more.begin(), more.end());
    }
    static void append(Bytes &bytes, std::initializer_list<std::uint8_t> more) {
        bytes.insert(bytes.end(), more);
    }
    static void append(Bytes &bytes, std::string_view more) {
        bytes.insert(bytes.end(), more.begin(), more.end());
    }

    static Bytes number(std::size_t value, std::size_t width) {
        Bytes bytes;
        for (std::size_t i = width; i-- > 0;) {
            bytes.push_back(static_cast<std::uint8_t>(value >> 8 * i));
        }
        return bytes;
    }

    static Bytes fixed(double value) {
        const auto bits = static_cast<std::int32_t>(std::lround(value * 65536));
        return number(static_cast<std::uint32_t>(bits), 4);
    }

    static Bytes typed(std::string_view type) {
        Bytes content;
        append(content, type);
        append(content, {0, 0, 0, 0});
        return content;
    }

    Bytes header(std::size_t size) const {
        Bytes bytes = number(size, 4);
        append(bytes, {0, 0, 0, 0, 2, 0x40, 0, 0});
        append(bytes, _class);
        append(bytes, _space);
        append(bytes, _connection);
        append(bytes, {7, 0xe4, 0, 1, 0, 1, 0, 0, 0, 0, 0, 0});
        append(bytes, "acsp");
        bytes.resize(68);
        for (const double value : kD50) {
            append(bytes, fixed(value));
        }
        bytes.resize(kHeaderSize);
        return bytes;
    }

    const std::string _class, _space, _connection;
    std::vector<std::pair<std::string, Bytes>> _tags;
};
