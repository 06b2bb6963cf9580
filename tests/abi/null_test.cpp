// Every export with a null handle, without an image, with null outputs: nothing happens, the result
// is 0, texts, arrays and objects come out null, numbers stay as they were.
#include <array>
#include <cstring>
#include <set>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

#include <gtest/gtest.h>
#include <kestr/kestr.h>

#include "export_list.h"

extern "C" void FreeSystemText(BSTR text);

namespace {

using namespace kestr_abi;

constexpr uint8_t kPoison = 0x5A;

// Room for what a caller would pass for one argument, filled with a pattern.
struct CRoom {
    std::array<uint8_t, 256 * sizeof(uint32_t)> bytes;
    CRoom() { bytes.fill(kPoison); }
    bool IsUntouched() const {
        for (const uint8_t byte : bytes) {
            if (byte != kPoison) return false;
        }
        return true;
    }
    bool IsNullPointer() const {
        void* pointer;
        std::memcpy(&pointer, bytes.data(), sizeof pointer);
        return pointer == nullptr;
    }
    bool IsZero(size_t size) const {
        for (size_t i = 0; i < size; ++i) {
            if (bytes[i] != 0) return false;
        }
        return true;
    }
};

// An argument is an output when it points at something that the call may write.
template <typename T>
constexpr bool kIsOutput =
    std::is_pointer_v<T> && !std::is_const_v<std::remove_pointer_t<T>> &&
    (std::is_arithmetic_v<std::remove_pointer_t<T>> || std::is_pointer_v<std::remove_pointer_t<T>>);

struct CCallResult {
    bool isZero = true;
    std::string wrongOutputs;
};

// Calls with `session` for the first handle, zero for all other inputs and, if asked, outputs.
template <typename Result, typename... Arguments>
CCallResult Call(Result(KESTR_CALL* function)(Arguments...), HKESTRSESSION session,
                 bool withOutputs, bool numbersBecomeZero) {
    std::array<CRoom, sizeof...(Arguments) + 1> rooms;
    std::tuple<Arguments...> arguments{};
    const auto prepare = [&]<size_t... i>(std::index_sequence<i...>) {
        [[maybe_unused]] const auto one = [&]<size_t index>(std::integral_constant<size_t, index>) {
            auto& argument = std::get<index>(arguments);
            using T = std::remove_reference_t<decltype(argument)>;
            if constexpr (kIsOutput<T>) {
                if (withOutputs) argument = reinterpret_cast<T>(rooms[index].bytes.data());
            } else if constexpr (std::is_same_v<T, HKESTRSESSION>) {
                if (index == 0) argument = session;
            }
        };
        (one(std::integral_constant<size_t, i>()), ...);
    };
    const auto indices = std::index_sequence_for<Arguments...>();
    prepare(indices);
    CCallResult outcome;
    if constexpr (std::is_void_v<Result>) {
        std::apply(function, arguments);
    } else {
        outcome.isZero = std::apply(function, arguments) == Result{};
    }
    const auto check = [&]<size_t... i>(std::index_sequence<i...>) {
        [[maybe_unused]] const auto one = [&]<size_t index, typename T>(
                                              std::integral_constant<size_t, index>,
                                              std::type_identity<T>) {
            if constexpr (kIsOutput<T>) {
                using Pointee = std::remove_pointer_t<T>;
                const CRoom& room = rooms[index];
                const bool right = std::is_pointer_v<Pointee> ? room.IsNullPointer()
                                   : numbersBecomeZero        ? room.IsZero(sizeof(Pointee))
                                                              : room.IsUntouched();
                if constexpr (std::is_same_v<Pointee, BSTR>) {
                    if (withOutputs && !right) FreeSystemText(*std::get<index>(arguments));
                }
                if (withOutputs && !right) outcome.wrongOutputs += std::to_string(index) + " ";
            }
        };
        (one(std::integral_constant<size_t, i>(), std::type_identity<Arguments>()), ...);
    };
    check(indices);
    return outcome;
}

/// Calls that take a file and no handle have an output for the words of a failure.
bool TellsWhyItFailed(std::string_view name) {
    return name.starts_with("cGetImageFile") || name.starts_with("cGetImageICCProfile_") ||
           name.starts_with("cRotateImageFile");
}

// Makes something of its own, whoever asks.
const std::set<std::string> kMakers = {"cNewSession", "cNewIPTC"};

TEST(NullTest, EveryCallTakesANullHandleAndNullOutputs) {
#define KESTR_EXPORT(name)                                               \
    if (!kMakers.contains(#name)) {                                      \
        EXPECT_TRUE(Call(&name, nullptr, false, false).isZero) << #name; \
    }
#include "exports.inc"
#undef KESTR_EXPORT
}

TEST(NullTest, WithoutAHandleTextsAndObjectsBecomeNullAndNumbersStay) {
    std::set<std::string> fileQueries;
    for (const CExport& entry : ExportList()) {
        if (entry.family == "queries") fileQueries.insert(entry.name);
    }
    ASSERT_EQ(fileQueries.size(), 12u);
#define KESTR_EXPORT(name)                                                                  \
    if (!kMakers.contains(#name)) {                                                         \
        const CCallResult result = Call(&name, nullptr, true, fileQueries.contains(#name)); \
        EXPECT_TRUE(result.isZero) << #name;                                                \
        /* A failed call to a file tells why in its last output, the text of the error. */  \
        if (!TellsWhyItFailed(#name)) {                                                     \
            EXPECT_EQ(result.wrongOutputs, "") << #name;                                    \
        }                                                                                   \
    }
#include "exports.inc"
#undef KESTR_EXPORT
}

TEST(NullTest, AFailedQueryGivesZerosNullsAndTheReason) {
    int32_t typeId = 7;
    uint32_t width = 7, height = 7, pages = 7;
    uint8_t bits = 7;
    uint16_t mcuWidth = 7, mcuHeight = 7;
    BSTR texts[5] = {};
    auto* const poison = reinterpret_cast<BSTR>(&width);
    for (BSTR& text : texts) text = poison;
    auto* exif = reinterpret_cast<CEXIF_Members*>(poison);
    auto* iptc = reinterpret_cast<CIPTC_Members*>(poison);
    EXPECT_EQ(cGetImageFileInfoEx("no such file", 0, 0, &typeId, &width, &height, &bits, &pages,
                                  &texts[0], &texts[1], &texts[2], &texts[3], &exif, &iptc,
                                  &mcuWidth, &mcuHeight, &texts[4]),
              0);
    EXPECT_EQ(typeId, 0);
    EXPECT_EQ(width + height + pages + bits + mcuWidth + mcuHeight, 0u);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(texts[i], nullptr);
    EXPECT_EQ(exif, nullptr);
    EXPECT_EQ(iptc, nullptr);
    ASSERT_NE(texts[4], nullptr);
    const std::basic_string<KESTR_CHAR> error(texts[4]);
    FreeSystemText(texts[4]);
    EXPECT_EQ(std::string(error.begin(), error.end()).substr(0, 31),
              "Failed to load \"no such file\": ");
}

// These do their work without a picture too.
const std::set<std::string> kNeedNoImage = {"cSwapImage", "cGetTransparentColorIndex",
                                            "cSetTransparentColorIndex"};

TEST(NullTest, EveryCallWithoutAnImageDoesNothing) {
#define KESTR_EXPORT(name)                                                     \
    if (!kMakers.contains(#name) && std::string(#name) != "cDestroySession") { \
        const HKESTRSESSION session = cNewSession();                           \
        const CCallResult result = Call(&name, session, true, false);          \
        if (!kNeedNoImage.contains(#name)) {                                   \
            EXPECT_TRUE(result.isZero) << #name;                               \
        }                                                                      \
        if (!TellsWhyItFailed(#name)) {                                        \
            EXPECT_EQ(result.wrongOutputs, "") << #name;                       \
        }                                                                      \
        cDestroySession(session);                                              \
    }
#include "exports.inc"
#undef KESTR_EXPORT
}

}  // namespace
