// The types of the model's objects. A television's own header must offer the enumeration with these numbers.
#ifndef LOMODELAPI_OBJECT_TYPE_SPEC_H
#define LOMODELAPI_OBJECT_TYPE_SPEC_H

namespace lomodelapi {

enum ObjectTypeSpec : int {
    OBJECT_TYPE_NONE = 0,
    OBJECT_TYPE_NUMERIC_INTEGER = 1,
    OBJECT_TYPE_STRING = 2,
    OBJECT_TYPE_VECTOR_NUMERIC_INTEGER = 3,
    OBJECT_TYPE_VECTOR_STRING = 4,
    OBJECT_TYPE_ACTION = 5,
    OBJECT_TYPE_TABLE = 6,
    OBJECT_TYPE_VECTOR_INTEGER = 7,
    OBJECT_TYPE_NUMERIC_INT64 = 8,
};

}  // namespace lomodelapi

#endif
