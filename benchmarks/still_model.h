// A model that takes almost no time: its values are in memory, it has no thread, and it never calls its
// observers by itself. In a program that links it, it replaces the simulated television's process framework.
#ifndef BENCHMARKS_STILL_MODEL_H
#define BENCHMARKS_STILL_MODEL_H

#include <functional>
#include <string>

#include "lomodelapi/biz_value.h"
#include "lomodelapi/observer.h"

namespace benchmarks {

constexpr char INTEGER_KEY[] = "dovra.sl2.i32.video.brightness";
constexpr char TEXT_KEY[] = "dovra.sl2.str.source.current.path";

class StillValue final : public BizValue {
  public:
    explicit StillValue(lomodelapi::ObjectTypeSpec type) : m_type(type) {}

    lomodelapi::ObjectTypeSpec getType() override;
    int getInteger() override;
    int setInteger(int value) override;
    int getString(std::string& value) override;
    int setString(const std::string& value) override;
    int getIntegerVector(std::vector<int>& value) override;
    int setIntegerVector(const std::map<int, int>& value) override;
    int getStringVector(std::vector<std::string>& value) override;
    int invoke(unsigned int& actionId, const std::vector<lomodelapi::Argument>& arguments) override;

  private:
    lomodelapi::ObjectTypeSpec m_type;
    int m_integer = 1;
    std::string m_text = "tv";
};

// Sets a listener for invocations. It is called on the invoking thread. Set it before the first invocation.
void onInvocation(std::function<void(unsigned actionId)> listener);

// Turns off the picture of the simulated television, whose application manager the benchmarks use.
void quiet();

}  // namespace benchmarks

#endif
