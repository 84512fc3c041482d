// Benchmarks of Qt's objects, properties, signals and values.
#include <QMetaProperty>
#include <QObject>
#include <QVariant>
#include <memory>
#include <string>
#include <utility>

#include "measure.h"

namespace {

class QtModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(int value READ value WRITE setValue)

  public:
    int value() const { return m_value; }
    void setValue(int value) { m_value = value; }
    int last = 0;

  public Q_SLOTS:
    void onChanged(const QVariant& value) { last = value.toInt(); }

  Q_SIGNALS:
    void changed(const QVariant& value);

  private:
    int m_value = 0;
};

}  // namespace

namespace benchmarks {

void addQt() {
    add("notify_int", "Qt, QVariant", [] {
        auto model = std::make_shared<QtModel>();
        QObject::connect(model.get(), &QtModel::changed, model.get(), &QtModel::onChanged,
                         Qt::DirectConnection);
        return [model, value = 0]() mutable {
            emit model->changed(QVariant(++value));
            benchmark::DoNotOptimize(model->last);
        };
    });
    const auto property = [] {
        return QtModel::staticMetaObject.property(QtModel::staticMetaObject.indexOfProperty("value"));
    };
    add("read_int", "QMetaProperty", [property] {
        return [model = std::make_shared<QtModel>(), property = property()] {
            int value = property.read(model.get()).toInt();
            benchmark::DoNotOptimize(value);
        };
    });
    add("read_int", "QObject::property", [] {
        return [model = std::make_shared<QtModel>()] {
            int value = model->property("value").toInt();
            benchmark::DoNotOptimize(value);
        };
    });
    add("write_int", "QMetaProperty", [property] {
        return [model = std::make_shared<QtModel>(), property = property(), value = 0]() mutable {
            property.write(model.get(), ++value);
        };
    });
    add("write_int", "QObject::setProperty", [] {
        return [model = std::make_shared<QtModel>(), value = 0]() mutable {
            model->setProperty("value", ++value);
        };
    });
    add("value_copy", "QVariant", [] {
        return [number = 0]() mutable {
            QVariant value(++number);
            benchmark::DoNotOptimize(value);
            QVariant copy(value);
            benchmark::DoNotOptimize(copy);
        };
    });
    add("value_chain", "QVariant", [] {
        return [number = 0]() mutable {
            QVariant value(++number);
            benchmark::DoNotOptimize(value);
            QVariant copy(value);
            benchmark::DoNotOptimize(copy);
            double converted = copy.toDouble();
            benchmark::DoNotOptimize(converted);
            QString text = copy.toString();
            benchmark::DoNotOptimize(text);
        };
    });
    add("value_compare", "QVariant", [] {
        return [a = QVariant(60), b = QVariant(60)]() mutable {
            benchmark::DoNotOptimize(a);
            bool same = a == b;
            benchmark::DoNotOptimize(same);
        };
    });
    add("value_move_string", "QVariant", [] {
        return [a = QVariant(
                    QStringLiteral("a text that is longer than what a string keeps in itself"))]() mutable {
            QVariant b(std::move(a));
            benchmark::DoNotOptimize(b);
            a = std::move(b);
        };
    });
    add("value_double_to_text", "QVariant", [] {
        return [value = QVariant(3.14159)]() mutable {
            benchmark::DoNotOptimize(value);
            QString text = value.toString();
            benchmark::DoNotOptimize(text);
        };
    });
}

}  // namespace benchmarks

#include "qt.moc"
