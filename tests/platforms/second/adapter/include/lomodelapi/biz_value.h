#ifndef LOMODELAPI_BIZ_VALUE_H
#define LOMODELAPI_BIZ_VALUE_H

#include <map>
#include <string>
#include <vector>

#include "lomodelapi/argument.h"
#include "lomodelapi/object_type_spec.h"
#include "lomodelapi/table.h"

namespace lomodelapi {
class ObserverTableIterator;
}

namespace adapter {
class Subscription;
}

class BizValue {
  public:
    explicit BizValue(adapter::Subscription& subscription) : m_subscription(subscription) {}

    lomodelapi::ObjectTypeSpec getType();

    int getInteger();
    int setInteger(int value);
    long long getInt64();
    int setInt64(long long value);
    int getString(std::string& out);
    int setString(const std::string& value);
    int getIntegerVector(std::vector<int>& out);
    int setIntegerVector(const std::map<int, int>& elements);
    int getStringVector(std::vector<std::string>& out);
    int setStringVector(const std::map<int, std::string>& elements);

    int invoke(unsigned int& actionId, const std::vector<lomodelapi::Argument>& arguments);

    lomodelapi::TableIterator* createIterator(const lomodelapi::IteratorType& type,
                                              lomodelapi::ObserverTableIterator* observer,
                                              const std::vector<lomodelapi::TableSelection>& selections,
                                              const std::vector<int>& columns,
                                              const std::vector<lomodelapi::TableOrder>& orders);
    int releaseIterator(lomodelapi::TableIterator* iterator);

  private:
    adapter::Subscription& m_subscription;
};

#endif
