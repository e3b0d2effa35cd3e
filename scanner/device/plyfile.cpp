// PLY: a header that tells elements and their properties, then their values as text or binary.
#include "scanner/device/meshparsing.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <optional>
#include <system_error>

namespace device {

namespace {

enum class EEncoding
{
    eText,
    eLittleEndian,
    eBigEndian
};

enum class EKind
{
    eSigned,
    eUnsigned,
    eFloat
};

struct ValueType
{
    EKind kind = EKind::eUnsigned;
    std::size_t bytes = 1;
};

struct Property
{
    std::string_view name;
    std::optional<ValueType> count; ///< of a list
    ValueType value;
};

struct Element
{
    std::string_view name;
    std::uint64_t count = 0;
    std::vector<Property> properties;
};

struct Header
{
    EEncoding encoding = EEncoding::eText;
    std::vector<Element> elements;
};

std::optional<ValueType> TypeOf(std::string_view name)
{
    struct Named
    {
        std::string_view name;
        ValueType type;
    };
    static constexpr std::array<Named, 16> c_types{{{"char", {EKind::eSigned, 1}},
                                                    {"int8", {EKind::eSigned, 1}},
                                                    {"uchar", {EKind::eUnsigned, 1}},
                                                    {"uint8", {EKind::eUnsigned, 1}},
                                                    {"short", {EKind::eSigned, 2}},
                                                    {"int16", {EKind::eSigned, 2}},
                                                    {"ushort", {EKind::eUnsigned, 2}},
                                                    {"uint16", {EKind::eUnsigned, 2}},
                                                    {"int", {EKind::eSigned, 4}},
                                                    {"int32", {EKind::eSigned, 4}},
                                                    {"uint", {EKind::eUnsigned, 4}},
                                                    {"uint32", {EKind::eUnsigned, 4}},
                                                    {"float", {EKind::eFloat, 4}},
                                                    {"float32", {EKind::eFloat, 4}},
                                                    {"double", {EKind::eFloat, 8}},
                                                    {"float64", {EKind::eFloat, 8}}}};
    const auto found = std::ranges::find(c_types, name, &Named::name);
    return found != c_types.end() ? std::optional(found->type) : std::nullopt;
}

/// Reads the lines up to "end_header"; the text then stands at the first byte of the values.
class HeaderReader
{
public:
    explicit HeaderReader(MeshText& text) : m_text(text) {}

    Header Read()
    {
        if (m_text.NextInLine() != "ply") {
            m_text.Fail("the file does not begin with 'ply'; it is no PLY file");
        }
        m_text.EndLine();
        for (std::string_view word = m_text.Next(); word != "end_header"; word = m_text.Next()) {
            if (word.empty()) {
                m_text.Fail("the file ends within its header; it is cut off, copy or export it anew");
            }
            ReadLine(word);
            m_text.EndLine();
        }
        m_text.EndLine();
        if (!m_hasFormat) {
            m_text.Fail("the header tells no format; export the mesh anew");
        }
        return m_header;
    }

private:
    void ReadLine(std::string_view word)
    {
        if (word == "format") {
            ReadFormat();
        } else if (word == "element") {
            ReadElement();
        } else if (word == "property") {
            ReadProperty();
        } else if (word != "comment" && word != "obj_info") {
            m_text.Fail(Quoted(word) +
                        " is no line of a PLY header; the file is damaged, export the mesh anew");
        }
    }

    void ReadFormat()
    {
        const std::string_view name = m_text.NextInLine();
        const std::string_view version = m_text.NextInLine();
        m_hasFormat = true;
        if (name == "ascii") {
            m_header.encoding = EEncoding::eText;
        } else if (name == "binary_little_endian") {
            m_header.encoding = EEncoding::eLittleEndian;
        } else if (name == "binary_big_endian") {
            m_header.encoding = EEncoding::eBigEndian;
        } else {
            m_text.Fail(Quoted(name) +
                        " is none of the formats ascii, binary_little_endian and binary_big_endian");
        }
        if (version != "1.0") {
            m_text.Fail("version " + Quoted(version) + " of the format is not known; 1.0 is read");
        }
    }

    void ReadElement()
    {
        CheckPlace(m_header.elements.size());
        Element element;
        element.name = m_text.NextInLine();
        const std::string_view count = m_text.NextInLine();
        const auto [end, error] = std::from_chars(count.data(), count.data() + count.size(), element.count);
        if (error != std::errc() || count.empty() || end != count.data() + count.size()) {
            m_text.Fail(Quoted(count) +
                        " is no number of elements; the file is damaged, export the mesh anew");
        }
        m_header.elements.push_back(element);
    }

    void ReadProperty()
    {
        if (m_header.elements.empty()) {
            m_text.Fail(
                "a property stands before the first element; the file is damaged, export the mesh anew");
        }
        std::vector<Property>& properties = m_header.elements.back().properties;
        CheckPlace(properties.size());
        Property property;
        std::string_view type = m_text.NextInLine();
        if (type == "list") {
            property.count = ReadType(m_text.NextInLine());
            type = m_text.NextInLine();
        }
        property.value = ReadType(type);
        property.name = m_text.NextInLine();
        properties.push_back(property);
    }

    ValueType ReadType(std::string_view name) const
    {
        const std::optional<ValueType> type = TypeOf(name);
        if (!type) {
            m_text.Fail(Quoted(name) +
                        " is no type of a property; the file is damaged, export the mesh anew");
        }
        return *type;
    }

    void CheckPlace(std::size_t count) const
    {
        constexpr std::size_t c_most = 256;
        if (count >= c_most) {
            m_text.Fail("the header tells more than 256 elements or properties; export the mesh anew");
        }
    }

    MeshText& m_text;
    Header m_header;
    bool m_hasFormat = false;
};

/// The values behind the header, one by one.
class ValueReader
{
public:
    ValueReader(MeshText& text, EEncoding encoding) : m_text(text), m_encoding(encoding), m_bytes(text.Rest())
    {}

    double Read(const ValueType& type)
    {
        if (m_encoding == EEncoding::eText) {
            return m_text.NextNumber();
        }
        if (m_bytes.size() < type.bytes) {
            FailMesh("it ends before its last value; it is cut off, copy or export it anew");
        }
        std::uint64_t bits = 0;
        for (std::size_t i = 0; i < type.bytes; ++i) {
            const std::size_t place = m_encoding == EEncoding::eBigEndian ? i : type.bytes - 1 - i;
            bits = bits << 8U | static_cast<unsigned char>(m_bytes[place]);
        }
        m_bytes.remove_prefix(type.bytes);
        return NumberOf(bits, type);
    }

    /// A count of list entries that fit into what is left.
    std::uint64_t ReadCount(const Property& list)
    {
        const double count = Read(*list.count);
        if (!(count >= 0.0 && count <= static_cast<double>(CountFitting(LeastBytes(list.value)))) ||
            count != std::floor(count)) {
            FailMesh(
                "a list tells more entries than the file holds, or no whole number of them; it is damaged, "
                "export the mesh anew");
        }
        return static_cast<std::uint64_t>(count);
    }

    /// How many entries of `bytes` each fit into what is left.
    std::uint64_t CountFitting(std::size_t bytes) const
    {
        const std::size_t left = m_encoding == EEncoding::eText ? m_text.CountLeft() + 1 : m_bytes.size();
        return left / bytes;
    }

    /// What a value takes at least: in a text a digit and a blank.
    std::size_t LeastBytes(const ValueType& type) const
    {
        return m_encoding == EEncoding::eText ? 2 : type.bytes;
    }

private:
    static double NumberOf(std::uint64_t bits, const ValueType& type)
    {
        if (type.kind == EKind::eFloat) {
            return type.bytes == sizeof(float) ? std::bit_cast<float>(static_cast<std::uint32_t>(bits))
                                               : std::bit_cast<double>(bits);
        }
        if (type.kind == EKind::eUnsigned) {
            return static_cast<double>(bits);
        }
        const double range = std::ldexp(1.0, static_cast<int>(8 * type.bytes));
        const auto number = static_cast<double>(bits);
        return number < 0.5 * range ? number : number - range;
    }

    MeshText& m_text;
    EEncoding m_encoding;
    std::string_view m_bytes;
};

/// Where a value of a vertex goes.
enum ERole : std::size_t
{
    eX,
    eY,
    eZ,
    eNormalX,
    eNormalY,
    eNormalZ,
    eRed,
    eGreen,
    eBlue,
    eRoles
};

class PlyReader
{
public:
    PlyReader(std::string_view content, const ParsingLimits& limits)
        : m_text(content), m_header(HeaderReader(m_text).Read()), m_values(m_text, m_header.encoding),
          m_builder(limits)
    {}

    Mesh Read()
    {
        for (const Element& element : m_header.elements) {
            CheckCount(element);
            if (element.name == "vertex") {
                ReadVertices(element);
            } else if (element.name == "face") {
                ReadFaces(element);
            } else {
                for (std::uint64_t i = 0; i < element.count && !element.properties.empty(); ++i) {
                    Skip(element.properties);
                }
            }
        }
        return m_builder.Take();
    }

private:
    /// Refuses counts that the values cannot reach, before any memory is taken for them.
    void CheckCount(const Element& element) const
    {
        std::size_t least = 0;
        for (const Property& property : element.properties) {
            least += m_values.LeastBytes(property.count.value_or(property.value));
        }
        if (least > 0 && element.count > m_values.CountFitting(least)) {
            FailMesh("it tells " + std::to_string(element.count) + " of element " + Quoted(element.name) +
                     " and holds at most " + std::to_string(m_values.CountFitting(least)) +
                     "; it is cut off, copy or export it anew");
        }
    }

    void Skip(std::span<const Property> properties)
    {
        for (const Property& property : properties) {
            const std::uint64_t count = property.count ? m_values.ReadCount(property) : 1;
            for (std::uint64_t i = 0; i < count; ++i) {
                m_values.Read(property.value);
            }
        }
    }

    /// The place of each property among the roles, `eRoles` for none.
    static std::vector<std::size_t> RolesOf(const Element& element)
    {
        static constexpr std::array<std::string_view, eRoles> c_names{"x",  "y",   "z",     "nx",  "ny",
                                                                      "nz", "red", "green", "blue"};
        std::vector<std::size_t> roles;
        for (const Property& property : element.properties) {
            const auto found = std::ranges::find(c_names, property.name);
            const bool isRole = !property.count && found != c_names.end();
            roles.push_back(isRole ? static_cast<std::size_t>(found - c_names.begin()) : eRoles);
        }
        return roles;
    }

    void ReadVertices(const Element& element)
    {
        const std::vector<std::size_t> roles = RolesOf(element);
        const auto has = [&](std::initializer_list<ERole> wanted) {
            return std::ranges::all_of(wanted,
                                       [&](ERole role) { return std::ranges::count(roles, role) == 1; });
        };
        if (!has({eX, eY, eZ})) {
            FailMesh("its vertices have no x, y and z; export the mesh anew");
        }
        const bool hasNormals = has({eNormalX, eNormalY, eNormalZ}), hasColours = has({eRed, eGreen, eBlue});
        m_builder.ReserveVertices(m_builder.CountVertices() + element.count);
        m_hasNormals = hasNormals;
        std::array<double, eRoles + 1> values{};
        for (std::uint64_t i = 0; i < element.count; ++i) {
            for (std::size_t place = 0; place < roles.size(); ++place) {
                const Property& property = element.properties[place];
                if (property.count) {
                    Skip({&property, 1});
                } else {
                    values[roles[place]] =
                        m_values.Read(property.value) / FullScale(roles[place], property.value);
                }
            }
            m_builder.AddVertex({values[eX], values[eY], values[eZ]});
            if (hasNormals) {
                m_builder.AddNormal({values[eNormalX], values[eNormalY], values[eNormalZ]});
            }
            if (hasColours) {
                m_builder.AddColour({values[eBlue], values[eGreen], values[eRed]});
            }
        }
    }

    /// What colours as whole numbers are divided by; 1 for all else.
    static double FullScale(std::size_t role, const ValueType& type)
    {
        const bool isColour = role == eRed || role == eGreen || role == eBlue;
        return isColour && type.kind != EKind::eFloat
                   ? std::ldexp(1.0, static_cast<int>(8 * type.bytes)) - 1.0
                   : 1.0;
    }

    void ReadFaces(const Element& element)
    {
        const auto isCorners = [](const Property& property) {
            return property.count && (property.name == "vertex_indices" || property.name == "vertex_index");
        };
        if (element.count > 0 && std::ranges::count_if(element.properties, isCorners) != 1) {
            FailMesh("its faces have no list vertex_indices; export the mesh anew");
        }
        m_builder.ReserveTriangles(element.count);
        std::vector<MeshBuilder::Corner> corners;
        for (std::uint64_t i = 0; i < element.count; ++i) {
            for (const Property& property : element.properties) {
                if (isCorners(property)) {
                    ReadCorners(property, corners);
                    m_builder.AddPolygon(corners);
                } else {
                    Skip({&property, 1});
                }
            }
        }
    }

    void ReadCorners(const Property& property, std::vector<MeshBuilder::Corner>& corners)
    {
        const std::uint64_t count = m_values.ReadCount(property);
        corners.clear();
        for (std::uint64_t i = 0; i < count; ++i) {
            const double index = m_values.Read(property.value);
            if (!(index >= 0.0 && index < static_cast<double>(m_builder.CountVertices())) ||
                index != std::floor(index)) {
                FailMesh("a face asks for a vertex that is none of the " +
                         std::to_string(m_builder.CountVertices()) +
                         " before it; the file is damaged, export the mesh anew");
            }
            const auto vertex = static_cast<std::uint64_t>(index);
            corners.push_back({vertex, m_hasNormals ? vertex : c_noNormal});
        }
    }

    MeshText m_text;
    Header m_header;
    ValueReader m_values;
    MeshBuilder m_builder;
    bool m_hasNormals = false;
};

} // namespace

Mesh ParsePly(std::string_view content, const ParsingLimits& limits)
{
    return PlyReader(content, limits).Read();
}

} // namespace device
