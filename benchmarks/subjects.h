// The measured objects of the library, for the benchmarks and for the instruction counts.
#ifndef BENCHMARKS_SUBJECTS_H
#define BENCHMARKS_SUBJECTS_H

#include <memory>
#include <string>

#include "lomodelapi/biz_value.h"
#include "platform_adaptation/system_access/value_access.h"
#include "still_model.h"

namespace benchmarks {

// Prevents the compiler from optimising the object away.
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
    // Pointers with unknown dynamic types, so that the compiler does not devirtualise the calls.
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

// Logs a line of the library while its level is off.
void logLine(int value);

// A value of the model; asModelValue() hides its dynamic type from the compiler.
std::unique_ptr<StillValue> makeStillValue();
BizValue& asModelValue(StillValue& value);

// The function for the direct call, in another source file.
using DirectFunction = void (*)(int value, int& last);
DirectFunction directFunction();

}  // namespace benchmarks

#endif
