// Benchmarks of GLib's objects, properties, signals and values.
#include <glib-object.h>

#include <memory>
#include <string>

#include "measure.h"

namespace {

struct GObjectModel {
    GObject parent;
    int value;
};
struct GObjectModelClass {
    GObjectClass parent;
};

guint changedSignal = 0;

void getProperty(GObject* object, guint, GValue* value, GParamSpec*) {
    g_value_set_int(value, reinterpret_cast<GObjectModel*>(object)->value);
}
void setProperty(GObject* object, guint, const GValue* value, GParamSpec*) {
    reinterpret_cast<GObjectModel*>(object)->value = g_value_get_int(value);
}

void model_class_init(gpointer type, gpointer) {
    GObjectClass* const objectClass = G_OBJECT_CLASS(type);
    objectClass->get_property = getProperty;
    objectClass->set_property = setProperty;
    g_object_class_install_property(
        objectClass, 1,
        g_param_spec_int("value", "value", "value", G_MININT, G_MAXINT, 0,
                         GParamFlags(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS)));
    changedSignal = g_signal_new("changed", G_TYPE_FROM_CLASS(type), G_SIGNAL_RUN_LAST, 0, nullptr, nullptr,
                                 nullptr, G_TYPE_NONE, 1, G_TYPE_INT);
}

std::shared_ptr<GObject> makeModel() {
    static const GType type =
        g_type_register_static_simple(G_TYPE_OBJECT, "BenchmarkModel", sizeof(GObjectModelClass),
                                      model_class_init, sizeof(GObjectModel), nullptr, GTypeFlags(0));
    return {static_cast<GObject*>(g_object_new(type, nullptr)), g_object_unref};
}

void onChanged(GObject*, int value, gpointer last) { *static_cast<int*>(last) = value; }

struct Value {
    GValue value = G_VALUE_INIT;
    Value() = default;
    explicit Value(int number) {
        g_value_init(&value, G_TYPE_INT);
        g_value_set_int(&value, number);
    }
    Value(const Value& other) {
        g_value_init(&value, G_VALUE_TYPE(&other.value));
        g_value_copy(&other.value, &value);
    }
    ~Value() { g_value_unset(&value); }
};

template <typename T>
T transformed(const Value& value, GType type, T (*get)(const GValue*)) {
    GValue other = G_VALUE_INIT;
    g_value_init(&other, type);
    g_value_transform(&value.value, &other);
    T result = get(&other);
    g_value_unset(&other);
    return result;
}

std::string toText(const Value& value) {
    return transformed<std::string>(value, G_TYPE_STRING,
                                    [](const GValue* text) { return std::string(g_value_get_string(text)); });
}

}  // namespace

namespace benchmarks {

void addGObject() {
    add("notify_int", "g_signal_emit", [] {
        auto last = std::make_shared<int>(0);
        auto model = makeModel();
        g_signal_connect(model.get(), "changed", G_CALLBACK(onChanged), last.get());
        return [last, model, value = 0]() mutable {
            g_signal_emit(model.get(), changedSignal, 0, ++value);
            benchmark::DoNotOptimize(*last);
        };
    });
    add("read_int", "g_object_get", [] {
        return [model = makeModel()] {
            int value = 0;
            g_object_get(model.get(), "value", &value, nullptr);
            benchmark::DoNotOptimize(value);
        };
    });
    add("write_int", "g_object_set", [] {
        return [model = makeModel(), value = 0]() mutable {
            g_object_set(model.get(), "value", ++value, nullptr);
        };
    });
    add("value_copy", "GValue", [] {
        return [number = 0]() mutable {
            Value value(++number);
            benchmark::DoNotOptimize(value);
            Value copy(value);
            benchmark::DoNotOptimize(copy);
        };
    });
    add("value_chain", "GValue", [] {
        return [number = 0]() mutable {
            Value value(++number);
            benchmark::DoNotOptimize(value);
            Value copy(value);
            benchmark::DoNotOptimize(copy);
            double converted = transformed(copy, G_TYPE_DOUBLE, g_value_get_double);
            benchmark::DoNotOptimize(converted);
            std::string text = toText(copy);
            benchmark::DoNotOptimize(text);
        };
    });
    add("value_compare", "GValue", [] {
        return [a = std::make_shared<Value>(60), b = std::make_shared<Value>(60)] {
            bool same = g_value_get_int(&a->value) == g_value_get_int(&b->value);
            benchmark::DoNotOptimize(same);
        };
    });
    add("value_double_to_text", "GValue", [] {
        auto value = std::make_shared<Value>();
        g_value_init(&value->value, G_TYPE_DOUBLE);
        g_value_set_double(&value->value, 3.14159);
        return [value] {
            std::string text = toText(*value);
            benchmark::DoNotOptimize(text);
        };
    });
}

}  // namespace benchmarks
