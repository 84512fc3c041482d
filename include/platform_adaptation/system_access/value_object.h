// The value of a notification or of an action's result.
#ifndef PLATFORM_ADAPTATION_SYSTEM_ACCESS_VALUE_OBJECT_H
#define PLATFORM_ADAPTATION_SYSTEM_ACCESS_VALUE_OBJECT_H

#include <cstddef>
#include <string>
#include <type_traits>
#include <vector>

#include "platform_adaptation/export.h"

struct Point {
    int first;
    int second;
};

inline bool operator==(const Point& a, const Point& b) { return a.first == b.first && a.second == b.second; }
inline bool operator!=(const Point& a, const Point& b) { return !(a == b); }

// A tagged variant with lenient conversions: every kind converts to every type. It is a plain value: copy it
// between threads, and do not share it while one of them writes.
//
// The fields are public so that a list can be filled in place: set `kind` to TYPE_VECTOR and append to
// `items`. Only the field that the kind selects counts; the others keep their content.
//
// Operations with texts or lists allocate and may throw std::bad_alloc; the others never throw. Copying,
// comparing, converting to text and destroying recurse into the items: the stack limits how deep lists may be
// nested (some thousand levels).
class PLATFORM_ADAPTATION_API ValueObject {
  public:
    enum Type : int {
        TYPE_NULL = 0,
        TYPE_INT = 1,
        TYPE_UINT = 2,
        TYPE_INT64 = 3,
        TYPE_UINT64 = 4,
        TYPE_BOOL = 5,
        TYPE_FLOAT = 6,
        TYPE_DOUBLE = 7,
        TYPE_STRING = 8,
        TYPE_POINT = 9,
        TYPE_VECTOR = 10,
        TYPE_UNDEFINED = 255,
    };

    union Scalar {
        int i;
        unsigned int u;
        long long i64;
        unsigned long long u64;
        bool b;
        float f;
        double d;
    };

    // TYPE_UNDEFINED.
    ValueObject() noexcept;

    // The kind is that of the argument. A text gives TYPE_STRING. Any other pointer does not compile, because
    // it would otherwise become a boolean. A `long` is ambiguous here and in conversions: cast it.
    ValueObject(bool value) noexcept;
    ValueObject(int value) noexcept;
    ValueObject(unsigned int value) noexcept;
    ValueObject(long long value) noexcept;
    ValueObject(unsigned long long value) noexcept;
    ValueObject(float value) noexcept;
    ValueObject(double value) noexcept;
    ValueObject(const std::string& value);
    ValueObject(const char* value) : ValueObject(std::string(value)) {}
    ValueObject(const Point& value) noexcept;
    template <typename T, typename = typename std::enable_if<!std::is_same<T, char>::value &&
                                                             !std::is_same<T, const char>::value>::type>
    ValueObject(T* pointer) = delete;
    ValueObject(std::nullptr_t) = delete;

    // A copy has the kind and the one payload that the kind selects. The other fields are not copied.
    ValueObject(const ValueObject& other);
    // Like the copy, but moves a text or list: `other` keeps its kind, with an empty text or list.
    ValueObject(ValueObject&& other) noexcept;

    ~ValueObject();

    // Each sets the kind and the one payload.
    ValueObject& operator=(int value) noexcept;
    ValueObject& operator=(unsigned int value) noexcept;
    ValueObject& operator=(long long value) noexcept;
    ValueObject& operator=(unsigned long long value) noexcept;
    ValueObject& operator=(bool value) noexcept;
    ValueObject& operator=(float value) noexcept;
    ValueObject& operator=(double value) noexcept;
    ValueObject& operator=(const std::string& value);
    ValueObject& operator=(const char* value) { return *this = std::string(value); }
    ValueObject& operator=(const Point& value) noexcept;
    template <typename T, typename = typename std::enable_if<!std::is_same<T, char>::value &&
                                                             !std::is_same<T, const char>::value>::type>
    ValueObject& operator=(T* pointer) = delete;
    ValueObject& operator=(std::nullptr_t) = delete;

    // Unlike construction, assignment copies (or moves) every field. A value may be assigned from one of its
    // own items. A moved-from value has an empty text and an empty list, whatever its kind. Assigning a value
    // to itself, moved or not, does not change it.
    ValueObject& operator=(const ValueObject& other);
    ValueObject& operator=(ValueObject&& other) noexcept;

    int type() const noexcept { return kind; }

    // Numbers: a 64-bit integer narrows to its low 32 bits. A fraction is cut off; a floating-point number
    // beyond the range of an integer type gives that type's nearest limit, and NaN gives 0. Texts, points,
    // lists and all other kinds give 0 or false.
    operator bool() const noexcept;
    operator int() const noexcept;
    operator unsigned int() const noexcept;
    operator long long() const noexcept;
    operator unsigned long long() const noexcept;
    operator float() const noexcept;
    operator double() const noexcept;
    // (0, 0) unless the value is a point.
    operator Point() const noexcept;
    operator std::string() const { return convertToStringType(); }
    // One element per item of a list; one element for any other kind.
    operator std::vector<int>() const;
    operator std::vector<unsigned int>() const;
    operator std::vector<std::string>() const;

    // 5, TRUE, 0.5 and 1e+07 (six digits), a text unchanged, (3,-4), [1,2,[a]], null, Undefined; the empty
    // text for a kind that is not in Type. The same in every locale.
    std::string convertToStringType() const;

    // Compares as the left operand's kind: `other` is converted to it if this is a number, and must be of the
    // same kind otherwise. So an int 5 equals a double 5.7, but not the other way round, and an int 0 equals
    // any text. A kind that is not in Type equals nothing, not even itself. To compare with a number, cast
    // one side: `value == ValueObject(5)` or `static_cast<int>(value) == 5`; `value == 5` is ambiguous.
    bool operator==(const ValueObject& other) const;

    int kind;
    Scalar scalar;
    long long reserved[2];  // carries no meaning; 0 and -1, and copied by assignment only
    Point point;
    std::string text;
    std::vector<ValueObject> items;

  private:
    template <typename T>
    PLATFORM_ADAPTATION_LOCAL ValueObject& set(Type newKind, T Scalar::*field, T value) noexcept;
    template <typename T>
    PLATFORM_ADAPTATION_LOCAL T toNumber() const noexcept;
    template <typename T>
    PLATFORM_ADAPTATION_LOCAL std::vector<T> toList() const;
};

#endif
