#include "platform/registry/RegisteredFilter.h"

#include "platform/registry/Utf16.h"

namespace qrn {

namespace {

constexpr DWORD kVersion = 1;
enum PinFlag : DWORD { kRendered = 1, kOutput = 2, kZero = 4, kMany = 8 };

class CWriter {
public:
    void Number(DWORD number, int bytes = 4) {
        for (int i = 0; i < bytes; ++i) {
            m_bytes.push_back(static_cast<BYTE>(number >> 8 * i));
        }
    }
    void Count(std::size_t count) { Number(static_cast<DWORD>(count)); }
    void Guid(const GUID& guid) {
        Number(guid.Data1);
        Number(guid.Data2, 2);
        Number(guid.Data3, 2);
        m_bytes.insert(m_bytes.end(), std::begin(guid.Data4), std::end(guid.Data4));
    }
    void Text(const std::wstring& text) {
        const std::vector<BYTE> bytes = ToUtf16Bytes(text);
        Count(bytes.size());
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
    }
    std::vector<BYTE> Take() { return std::move(m_bytes); }

private:
    std::vector<BYTE> m_bytes;
};

/// Past the end, or at what cannot be, it has failed, and gives zeros and empty texts from then on.
class CReader {
public:
    explicit CReader(std::span<const BYTE> bytes) : m_bytes(bytes) {}

    bool HasFailed() const { return m_hasFailed; }
    bool IsAtEnd() const { return !m_hasFailed && m_bytes.empty(); }

    DWORD Number(std::size_t bytes = 4) {
        DWORD number = 0;
        const std::span<const BYTE> taken = Take(bytes);
        for (std::size_t i = 0; i < taken.size(); ++i) {
            number |= DWORD{taken[i]} << 8 * i;
        }
        return number;
    }
    GUID Guid() {
        GUID guid{};
        guid.Data1 = Number();
        guid.Data2 = static_cast<std::uint16_t>(Number(2));
        guid.Data3 = static_cast<std::uint16_t>(Number(2));
        for (std::uint8_t& byte : guid.Data4) {
            byte = static_cast<std::uint8_t>(Number(1));
        }
        return guid;
    }
    std::wstring Text() {
        std::optional<std::wstring> text = FromUtf16Bytes(Take(Number()));
        m_hasFailed = m_hasFailed || !text;
        return text ? *std::move(text) : std::wstring();
    }

private:
    std::span<const BYTE> Take(std::size_t bytes) {
        if (m_hasFailed || bytes > m_bytes.size()) {
            m_hasFailed = true;
            return {};
        }
        const std::span<const BYTE> taken = m_bytes.first(bytes);
        m_bytes = m_bytes.subspan(bytes);
        return taken;
    }

    std::span<const BYTE> m_bytes;
    bool m_hasFailed = false;
};

void WritePin(CWriter& writer, const RegisteredPin& pin) {
    writer.Number((pin.isRendered ? kRendered : 0u) | (pin.isOutput ? kOutput : 0u) | (pin.isZero ? kZero : 0u) |
                  (pin.isMany ? kMany : 0u));
    writer.Text(pin.name);
    writer.Guid(pin.connectsToFilter);
    writer.Text(pin.connectsToPin);
    writer.Count(pin.types.size());
    for (const RegisteredType& type : pin.types) {
        writer.Guid(type.majorType);
        writer.Guid(type.subType);
    }
}

RegisteredPin ReadPin(CReader& reader) {
    RegisteredPin pin;
    const DWORD flags = reader.Number();
    pin.isRendered = (flags & kRendered) != 0;
    pin.isOutput = (flags & kOutput) != 0;
    pin.isZero = (flags & kZero) != 0;
    pin.isMany = (flags & kMany) != 0;
    pin.name = reader.Text();
    pin.connectsToFilter = reader.Guid();
    pin.connectsToPin = reader.Text();
    // The loops end with the bytes, whatever the counts say.
    for (DWORD left = reader.Number(); left > 0 && !reader.HasFailed(); --left) {
        const GUID majorType = reader.Guid();
        pin.types.push_back({majorType, reader.Guid()});
    }
    return pin;
}

std::wstring TextOf(const wchar_t* text) {
    return text != nullptr ? text : L"";
}
GUID GuidOf(const GUID* guid) {
    return guid != nullptr ? *guid : GUID_NULL;
}

}  // namespace

std::vector<BYTE> EncodeFilterData(const RegisteredFilter& filter) {
    CWriter writer;
    writer.Number(kVersion);
    writer.Number(filter.merit);
    writer.Count(filter.pins.size());
    for (const RegisteredPin& pin : filter.pins) {
        WritePin(writer, pin);
    }
    return writer.Take();
}

bool DecodeFilterData(std::span<const BYTE> bytes, RegisteredFilter& filter) {
    CReader reader(bytes);
    if (reader.Number() != kVersion) {
        return false;
    }
    const DWORD merit = reader.Number();
    std::vector<RegisteredPin> pins;
    for (DWORD left = reader.Number(); left > 0 && !reader.HasFailed(); --left) {
        pins.push_back(ReadPin(reader));
    }
    if (!reader.IsAtEnd()) {
        return false;
    }
    filter.merit = merit;
    filter.pins = std::move(pins);
    return true;
}

std::optional<std::vector<RegisteredPin>> PinsOf(const REGFILTERPINS* pins, std::size_t count) {
    if (pins == nullptr && count > 0) {
        return std::nullopt;
    }
    std::vector<RegisteredPin> copies;
    for (const REGFILTERPINS& pin : std::span(pins, count)) {
        if (pin.lpMediaType == nullptr && pin.nMediaTypes > 0) {
            return std::nullopt;
        }
        RegisteredPin copy{
            TextOf(pin.strName), pin.bRendered != FALSE,          pin.bOutput != FALSE,         pin.bZero != FALSE,
            pin.bMany != FALSE,  GuidOf(pin.clsConnectsToFilter), TextOf(pin.strConnectsToPin), {}};
        for (const REGPINTYPES& type : std::span(pin.lpMediaType, pin.nMediaTypes)) {
            copy.types.push_back({GuidOf(type.clsMajorType), GuidOf(type.clsMinorType)});
        }
        copies.push_back(std::move(copy));
    }
    return copies;
}

}  // namespace qrn
