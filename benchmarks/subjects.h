// What of the library is measured, by the benchmarks and by the count of instructions alike.
#ifndef BENCHMARKS_SUBJECTS_H
#define BENCHMARKS_SUBJECTS_H

#include <memory>
#include <string>

#include "lomodelapi/biz_value.h"
#include "platform_adaptation/system_access/value_access.h"
#include "still_model.h"

namespace benchmarks {

// Keeps the compiler from knowing what an object is, or that nobody looks at it.
template <typename T>
inline void escape(T& object) {
    asm volatile("" : : "g"(&object) : "memory");
}

struct Owner {
    void onChanged(const ValueObject& value) { last = value; }
    void onText(const ValueObject& value) { last = value.type(); }
    int last = 0;
};

// Connected accessors of both kinds, and the model's view of them.
class Subjects {
  public:
    Subjects()
        : integer(INTEGER_KEY, std::make_shared<ValueHandlerT<Owner>>(&owner, &Owner::onChanged)),
          text(TEXT_KEY, std::make_shared<ValueHandlerT<Owner>>(&owner, &Owner::onText)) {
        quiet();
        integer.connect(0);
        text.connect(0);
    }

    Owner owner;
    ValueAccessT<lomodelapi::ObserverNumericInteger> integer;
    ValueAccessT<lomodelapi::ObserverString> text;
    // Through pointers that the compiler knows nothing of, as the model and a client have them.
    lomodelapi::ObserverNumericInteger* integerObserver =
        hidden<lomodelapi::ObserverNumericInteger>(&integer);
    lomodelapi::ObserverString* textObserver = hidden<lomodelapi::ObserverString>(&text);
    ValueAccessBase* access = hidden<ValueAccessBase>(&integer);
    const std::string twentyCharacters = "twenty characters...";

  private:
    template <typename T>
    static T* hidden(T* object) {
        asm volatile("" : "+r"(object));
        return object;
    }
};

// A line of the library's log, offered while its level is off.
void logLine(int value);

// A model's value, whose dynamic type the compiler does not know.
std::unique_ptr<StillValue> makeStillValue();
BizValue& asModelValue(StillValue& value);

// The direct call: of a function that is somewhere else.
using DirectFunction = void (*)(int value, int& last);
DirectFunction directFunction();

}  // namespace benchmarks

#endif
