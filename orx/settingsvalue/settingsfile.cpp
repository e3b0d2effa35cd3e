// The Lua state in which a settings file runs, with its bounds.
#include "orx/settingsvalue/settingsfile.h"

#include <lua.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <memory>

namespace LxCV {

namespace {

constexpr std::size_t c_largestMemory = std::size_t{4} << 20U;      ///< bytes in use at one time
constexpr std::size_t c_largestAllocation = std::size_t{64} << 20U; ///< bytes asked for in total
constexpr std::size_t c_largestResult = std::size_t{4} << 20U;      ///< bytes of all groups
constexpr int c_mostInstructions = 1'000'000;
/// Few, since one can be slow: the comparison of two long texts in a locale's order.
constexpr int c_instructionsPerCheck = 100;
constexpr double c_longestTime = 0.25; ///< seconds of the thread's processor time
constexpr std::size_t c_longestMessage = 200;

/// What a program computes with. There are no protected calls and no coroutines, in which it could outlive the
/// error that stops it; no metatables, whose finalizers run unwatched; and no string library, whose patterns can
/// run for years between two instructions.
constexpr const char* c_functions[] = {"assert", "error",    "ipairs",   "pairs",
                                       "select", "tonumber", "tostring", "type"};
constexpr const char* c_mathFunctions[] = {"abs", "ceil", "cos", "deg", "floor", "huge", "max",
                                           "min", "pi",   "rad", "sin", "sqrt",  "tan"};

struct Limits
{
    std::size_t memory = 0;     ///< bytes in use
    std::size_t allocation = 0; ///< bytes asked for so far
    int instructions = 0;
    double end = 0; ///< of the thread's processor time, seconds
};

/// The bound is on work, not on time that passes, so the processor's time of this thread is what counts.
double ThreadSeconds()
{
    constexpr double c_secondsPerNanosecond = 1e-9;
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + c_secondsPerNanosecond * static_cast<double>(time.tv_nsec);
}

/// The state's allocator. It never refuses to give memory back or to shrink a block.
void* Allocate(void* limitsOfState, void* block, std::size_t oldSize, std::size_t newSize)
{
    Limits& limits = *static_cast<Limits*>(limitsOfState);
    const std::size_t present = block != nullptr ? oldSize : 0; // oldSize is a type code for a new block
    if (newSize == 0) {
        std::free(block);
        limits.memory -= present;
        return nullptr;
    }
    if (newSize > present) {
        const std::size_t growth = newSize - present;
        if (growth > c_largestMemory - limits.memory || newSize > c_largestAllocation - limits.allocation) {
            return nullptr;
        }
        limits.allocation += newSize;
    }
    void* const moved = std::realloc(block, newSize);
    if (moved != nullptr) {
        limits.memory = limits.memory - present + newSize;
    }
    return moved;
}

/// Lua's errors leave a function by a jump, so the functions from here to `Run` own no C++ object.
void CheckWork(lua_State* state, lua_Debug*)
{
    void* limitsOfState = nullptr;
    lua_getallocf(state, &limitsOfState);
    Limits& limits = *static_cast<Limits*>(limitsOfState);
    limits.instructions += c_instructionsPerCheck;
    if (limits.instructions > c_mostInstructions || ThreadSeconds() > limits.end) {
        luaL_where(state, 0);
        lua_pushliteral(state, "takes too long");
        lua_concat(state, 2);
        lua_error(state);
    }
}

/// Copies the fields of the table on top of the stack to the table below it, and drops the former.
template <std::size_t N>
void CopyFields(lua_State* state, const char* const (&names)[N])
{
    for (const char* const name : names) {
        lua_getfield(state, -1, name);
        lua_setfield(state, -3, name);
    }
    lua_pop(state, 1);
}

/// Pushes the table of the program's globals, which holds nothing but finds the allowed functions.
void PushEnvironment(lua_State* state)
{
    lua_newtable(state); // environment
    lua_newtable(state); // its metatable
    lua_newtable(state); // allowed functions
    lua_pushcfunction(state, luaopen_base);
    lua_call(state, 0, 1);
    CopyFields(state, c_functions);
    lua_newtable(state);
    lua_pushcfunction(state, luaopen_math);
    lua_call(state, 0, 1);
    CopyFields(state, c_mathFunctions);
    lua_setfield(state, -2, "math");
    lua_setfield(state, -2, "__index");
    lua_setmetatable(state, -2);
}

/// Takes the text as a light pointer to a std::string_view, and returns the program's globals.
int RunProgram(lua_State* state)
{
    const auto& text = *static_cast<const std::string_view*>(lua_touserdata(state, 1));
    PushEnvironment(state);
    // Mode "t" refuses compiled code, which could break the interpreter.
    if (luaL_loadbufferx(state, text.data(), text.size(), "=settings", "t") != LUA_OK) {
        return lua_error(state);
    }
    lua_pushvalue(state, -2);
    lua_setupvalue(state, -2, 1); // a program's first outer variable is its environment
    lua_sethook(state, CheckWork, LUA_MASKCOUNT, c_instructionsPerCheck);
    lua_call(state, 0, 0);
    lua_sethook(state, nullptr, 0, 0);
    return 1;
}

/// The error on top of the stack as one printable line.
std::string ErrorMessage(lua_State* state)
{
    if (lua_type(state, -1) != LUA_TSTRING) {
        return "error without a message";
    }
    std::size_t size = 0;
    const char* const text = lua_tolstring(state, -1, &size);
    std::string message(text, std::min(size, c_longestMessage));
    std::replace_if(
        message.begin(), message.end(),
        [](char character) { return static_cast<unsigned char>(character) < ' ' || character == '\x7F'; },
        ' ');
    return message;
}

LxCSettingsEntry ReadEntry(lua_State* state, int index)
{
    switch (lua_type(state, index)) {
    case LUA_TBOOLEAN:
        return lua_toboolean(state, index) != 0;
    case LUA_TNUMBER:
        if (lua_isinteger(state, index) != 0) {
            return static_cast<long long>(lua_tointegerx(state, index, nullptr));
        }
        return static_cast<double>(lua_tonumberx(state, index, nullptr));
    case LUA_TSTRING: {
        std::size_t size = 0;
        const char* const text = lua_tolstring(state, index, &size);
        return std::string(text, size);
    }
    default:
        return std::monostate{};
    }
}

/// Copies the program's tables out of its state by operations that allocate nothing there and raise no error.
/// One table or text can stand in many places, so what is copied has a bound of its own.
class ResultReader
{
public:
    explicit ResultReader(lua_State* state) : m_state(state) {}

    /// The globals lie on top of the stack. Returns false where they exceed the bound.
    bool Read(LxCSettingsTable& table)
    {
        return ForEachKey([this, &table](const std::string& name) {
            return lua_type(m_state, -1) != LUA_TTABLE || ReadGroup(table[name]);
        });
    }

private:
    bool ReadGroup(LxCSettingsGroup& group)
    {
        return ForEachKey([this, &group](const std::string& key) {
            LxCSettingsEntry entry = ReadEntry(m_state, -1);
            const auto* const text = std::get_if<std::string>(&entry);
            const bool fits = Take(text != nullptr ? text->size() : 0);
            group[key] = std::move(entry);
            return fits;
        });
    }

    /// Calls `visit` for each text key of the table on top of the stack, with the value on top. Ends early with
    /// false when `visit` gives false.
    template <typename Visit>
    bool ForEachKey(Visit visit)
    {
        constexpr int c_slots = 4;
        if (lua_checkstack(m_state, c_slots) == 0) {
            return false;
        }
        lua_pushnil(m_state);
        while (lua_next(m_state, -2) != 0) {
            bool fits = Take(c_entryCost);
            if (fits && lua_type(m_state, -2) == LUA_TSTRING) {
                std::size_t size = 0;
                const char* const name = lua_tolstring(m_state, -2, &size);
                fits = Take(size) && visit(std::string(name, size));
            }
            if (!fits) {
                return false;
            }
            lua_pop(m_state, 1);
        }
        return true;
    }

    bool Take(std::size_t bytes)
    {
        const bool fits = bytes <= m_left;
        m_left -= fits ? bytes : m_left;
        return fits;
    }

    static constexpr std::size_t c_entryCost = 64; ///< bytes, about what a map's node takes

    lua_State* m_state;
    std::size_t m_left = c_largestResult;
};

std::string FormatValue(std::monostate)
{
    return {};
}

std::string FormatValue(bool value)
{
    return value ? "true" : "false";
}

std::string FormatValue(long long value)
{
    // The smallest integer has no literal: its digits without the sign are too large.
    return value == std::numeric_limits<long long>::min() ? "1 << 63" : std::to_string(value);
}

std::string FormatValue(double value)
{
    if (std::isnan(value)) {
        return "0/0";
    }
    if (std::isinf(value)) {
        return value > 0 ? "math.huge" : "-math.huge";
    }
    constexpr std::size_t c_longestNumber = 32;
    std::array<char, c_longestNumber> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    std::string text(digits.data(), end.ptr);
    const bool integral = text.find_first_of(".e") == std::string::npos;
    return integral ? text + ".0" : text;
}

std::string FormatValue(const std::string& value)
{
    constexpr unsigned char c_delete = 0x7F;
    std::string text = "\"";
    for (const char character : value) {
        const auto code = static_cast<unsigned char>(character);
        if (code < ' ' || code == c_delete) {
            const std::string digits = std::to_string(code);
            text += "\\" + std::string(3 - digits.size(), '0') + digits;
        } else {
            text += character == '"' || character == '\\' ? "\\" : "";
            text += character;
        }
    }
    return text + "\"";
}

std::optional<LxCSettingsTable> Run(std::string_view text, std::string& error)
{
    Limits limits;
    limits.end = ThreadSeconds() + c_longestTime;
    const std::unique_ptr<lua_State, decltype(&lua_close)> state(lua_newstate(Allocate, &limits), lua_close);
    if (state == nullptr) {
        error = "not enough memory";
        return std::nullopt;
    }
    lua_pushcfunction(state.get(), RunProgram);
    lua_pushlightuserdata(state.get(), &text);
    if (lua_pcall(state.get(), 1, 1, 0) != LUA_OK) {
        error = ErrorMessage(state.get());
        return std::nullopt;
    }
    LxCSettingsTable table;
    if (!ResultReader(state.get()).Read(table)) {
        error = "too many values";
        return std::nullopt;
    }
    return table;
}

} // namespace

std::optional<LxCSettingsTable> ParseSettings(std::string_view text, std::string& error)
{
    if (text.size() > c_longestSettingsText) {
        error = "too long";
        return std::nullopt;
    }
    constexpr std::string_view c_byteOrderMark = "\xEF\xBB\xBF";
    if (text.starts_with(c_byteOrderMark)) {
        text.remove_prefix(c_byteOrderMark.size());
    }
    return Run(text, error);
}

std::string FormatSettings(const std::string& name, const LxCSettingsGroup& group)
{
    std::string text = name + " = {\n";
    for (const auto& [key, entry] : group) {
        const std::string value = std::visit([](const auto& present) { return FormatValue(present); }, entry);
        if (!value.empty()) {
            text.append("    ").append(key).append(" = ").append(value).append(",\n");
        }
    }
    return text + "}\n";
}

} // namespace LxCV
