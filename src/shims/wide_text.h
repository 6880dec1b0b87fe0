// Text arguments of a wide function, converted for the driver's narrow one and back.
#pragma once

#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "shims/Handles.h"
#include "shims/conversions.h"
#include "shims/forward.h"
#include "shims/wide.h"

inline constexpr Diagnosis kInvalidText{
    "22018", "a text has half a pair of UTF-16, or what is no character"};

inline constexpr Diagnosis kLongText{"HY090", "a text is longer than its length can tell"};
inline constexpr Diagnosis kCutText{"01004", "a text was cut"};

/// What a length argument counts, which ODBC defines for each function.
enum class Counted : SQLINTEGER { kCharacters = 1, kBytes = sizeof(SQLWCHAR) };

/// Text for the driver, with its length.
template <class Length>
class InText {
public:
    InText(const void* text, Length length, Counted counted = Counted::kCharacters)
        : is_there_(text != nullptr), length_(length)
    {
        if (!is_there_ || (length < 0 && length != SQL_NTS)) {
            return;  // the driver reports what is wrong with it
        }
        const WideView wide =
            length == SQL_NTS
                ? WideView::Terminated(text)
                : WideView(text, static_cast<std::size_t>(length / static_cast<Length>(counted)));
        narrow_.resize(kLongestUtf8 * wide.Size());
        const auto written = ::Narrow(wide, narrow_.data());
        constexpr std::size_t kMaxLength = std::numeric_limits<Length>::max();
        if (!written) {
            fault_ = &kInvalidText;
        } else if (*written > kMaxLength) {
            fault_ = &kLongText;
        }
        narrow_.resize(written.value_or(0));
        length_ = static_cast<Length>(narrow_.size());
    }

    /// Why the text can't go to the driver; null: it can.
    const Diagnosis* Fault() const { return fault_; }
    const std::string& Text() const { return narrow_; }
    void Append(const std::string& more)
    {
        narrow_ += more;
        length_ = static_cast<Length>(narrow_.size());
    }

    auto ForDriver()
    {
        auto* text = is_there_ ? reinterpret_cast<SQLCHAR*>(narrow_.data()) : nullptr;
        return std::tuple(text, length_);
    }
    static SQLRETURN Finish(SQLRETURN code) { return code; }

private:
    bool is_there_;
    const Diagnosis* fault_ = nullptr;
    Length length_;
    std::string narrow_;
};

/// Room for the driver's text, and where its length goes.
template <class Length>
class OutText {
public:
    OutText(void* to, Length capacity, Length* length, Counted counted = Counted::kCharacters)
        : to_(to),
          places_(static_cast<std::size_t>(std::max<Length>(capacity, 0)) /
                  static_cast<std::size_t>(counted)),
          length_(length),
          unit_(static_cast<std::size_t>(counted)),
          narrow_(std::clamp(kLongestUtf8 * places_ + 1, kMinRoom, kMaxRoom))
    {}

    static const Diagnosis* Fault() { return nullptr; }

    auto ForDriver()
    {
        return std::tuple(reinterpret_cast<SQLCHAR*>(narrow_.data()),
                          static_cast<Length>(narrow_.size()), &reported_);
    }

    /// Makes room for only as many bytes as the caller has for characters; IsShort says whether
    /// that was too little.
    void TightenRoom() { narrow_.resize(std::max<std::size_t>(places_, 1)); }
    bool IsShort() const
    {
        return reported_ >= 0 && static_cast<std::size_t>(reported_) >= narrow_.size();
    }

    /// Delivers what the driver wrote, as far as the caller has room.
    SQLRETURN Finish(SQLRETURN code)
    {
        if (!SQL_SUCCEEDED(code)) {
            return code;
        }
        const std::size_t room = narrow_.size() - 1;
        const std::size_t reported = reported_ < 0 ? room : static_cast<std::size_t>(reported_);
        const std::string_view text(narrow_.data(),
                                    ::strnlen(narrow_.data(), std::min(reported, room)));
        const std::size_t unseen = reported_ > 0 && reported > room ? reported - room : 0;
        const std::size_t all = CountWide(text, OwnForm()) + unseen;
        if (length_ != nullptr) {
            constexpr std::size_t kMaxLength = std::numeric_limits<Length>::max();
            *length_ = static_cast<Length>(std::min(unit_ * all, kMaxLength));
        }
        if (to_ == nullptr || places_ == 0) {
            return code;
        }
        Widening widening(OwnForm());
        const WideRoom to(to_, places_);
        to.Put(widening.Write(text, true, to.First(places_ - 1)).characters, 0);
        return all < places_ && unseen == 0 ? code : SQLRETURN{SQL_SUCCESS_WITH_INFO};
    }

private:
    static constexpr std::size_t kMinRoom = 1024;
    static constexpr std::size_t kMaxRoom =
        std::min<std::size_t>(std::numeric_limits<Length>::max(), 1U << 20U);

    void* to_;
    std::size_t places_;
    Length* length_;
    std::size_t unit_;
    Length reported_ = -1;
    std::vector<char> narrow_;
};

/// An argument that a number identifies as text or something else: the length of text is in bytes.
template <class Text, class... Plain>
class Either {
public:
    Either(bool is_text, Plain... plain)
        : plain_(plain...),
          text_(is_text ? std::optional<Text>(std::in_place, plain..., Counted::kBytes)
                        : std::nullopt)
    {}

    const Diagnosis* Fault() const { return text_ ? text_->Fault() : nullptr; }
    std::tuple<Plain...> ForDriver()
    {
        return text_ ? std::tuple<Plain...>(text_->ForDriver()) : plain_;
    }
    SQLRETURN Finish(SQLRETURN code) { return text_ ? text_->Finish(code) : code; }

private:
    std::tuple<Plain...> plain_;
    std::optional<Text> text_;
};

template <class Length>
using InField = Either<InText<Length>, SQLPOINTER, Length>;
template <class Length>
using OutField = Either<OutText<Length>, SQLPOINTER, Length, Length*>;

/// Any other argument is passed unchanged.
template <class Value>
struct Plain {
    Value value;

    static const Diagnosis* Fault() { return nullptr; }
    std::tuple<Value> ForDriver() const { return {value}; }
    static SQLRETURN Finish(SQLRETURN code) { return code; }
};

template <class Argument>
concept IsTextArgument = requires(Argument argument)
{
    argument.ForDriver();
};

template <class Argument>
decltype(auto) AsArgument(Argument& argument)
{
    if constexpr (IsTextArgument<Argument>) {
        return (argument);
    } else {
        return Plain<Argument>{argument};
    }
}

/// Calls the driver's narrow function for a wide one. The handle is the one that diagnostics belong
/// to.
template <auto* function, class... Roles>
SQLRETURN CallNarrow(const char* name, SQLHANDLE handle, Roles... roles)
{
    const auto call = [&](auto&&... arguments) {
        const Diagnosis* fault = nullptr;
        ((fault = fault == nullptr ? arguments.Fault() : fault), ...);
        if (fault != nullptr) {
            Handles::Instance().Diagnose(handle, *fault);
            return SQLRETURN{SQL_ERROR};
        }
        const SQLRETURN drivers =
            std::apply(DriversOwn<function>(name), std::tuple_cat(arguments.ForDriver()...));
        SQLRETURN code = drivers;
        ((code = arguments.Finish(code)), ...);
        if (code != drivers) {
            Handles::Instance().Diagnose(handle, kCutText);
        }
        return code;
    };
    return call(AsArgument(roles)...);
}
