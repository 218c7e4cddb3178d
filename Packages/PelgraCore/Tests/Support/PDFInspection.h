#pragma once

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStringList>

#include <filesystem>
#include <stdexcept>

namespace Pelgra {

/// A document as the qpdf command sees it: every object as JSON. Texts begin with "u:", references look like "5 0 R".
class InspectedPDF {
public:
    /// Fails the test program loudly where qpdf finds anything wrong with the file.
    explicit InspectedPDF(const std::filesystem::path& file)
    {
        run({QStringLiteral("--check"), pathOf(file)});
        const QByteArray json = run({QStringLiteral("--json=2"), QStringLiteral("--json-key=qpdf"), pathOf(file)});
        m_objects = QJsonDocument::fromJson(json).object()[QStringLiteral("qpdf")].toArray().at(1).toObject();
        const QJsonValue tree = at(catalog(), "/Pages");
        for (const QJsonValue& page : at(tree, "/Kids").toArray())
            m_pages.append(page.toString());
    }

    /// What a reference stands for (a stream's dictionary for a stream); anything else is returned unchanged.
    QJsonValue resolved(const QJsonValue& value) const
    {
        if (!value.isString() || !value.toString().endsWith(QStringLiteral(" R")))
            return value;
        const QJsonObject object = m_objects.value(QStringLiteral("obj:") + value.toString()).toObject();
        if (object.contains(QStringLiteral("stream")))
            return object.value(QStringLiteral("stream")).toObject().value(QStringLiteral("dict"));
        return object.value(QStringLiteral("value"));
    }

    /// The resolved value under a chain of keys; a number stands for a place in an array.
    template <typename... Keys>
    QJsonValue at(const QJsonValue& value, Keys... keys) const
    {
        QJsonValue result = resolved(value);
        ((result = resolved(step(result, keys))), ...);
        return result;
    }

    QJsonObject trailer() const
    {
        return m_objects.value(QStringLiteral("trailer")).toObject().value(QStringLiteral("value")).toObject();
    }
    QJsonValue catalog() const { return at(trailer(), "/Root"); }

    int pageCount() const { return static_cast<int>(m_pages.size()); }
    QJsonValue page(int index) const { return resolved(m_pages.at(index)); }
    /// The page (from 0) that a destination array leads to; -1 for none.
    int targetOf(const QJsonValue& destination) const
    {
        return static_cast<int>(m_pages.indexOf(resolved(destination).toArray().at(0).toString()));
    }
    /// The pages that the links of a page lead to, in their order.
    QList<int> linkTargets(int index) const
    {
        QList<int> targets;
        for (const QJsonValue& annotation : at(page(index), "/Annots").toArray()) {
            if (at(annotation, "/Subtype").toString() != QStringLiteral("/Link"))
                continue;
            const QJsonValue destination = at(annotation, "/Dest");
            targets.append(targetOf(destination.isUndefined() ? at(annotation, "/A", "/D") : destination));
        }
        return targets;
    }

    /// "Title>page" for every outline entry, children in parentheses after their parent.
    QString outline() const { return outlineBeneath(at(catalog(), "/Outlines")); }

    /// The full names of the form's top-level fields.
    QStringList fieldNames() const
    {
        QStringList names;
        for (const QJsonValue& field : at(catalog(), "/AcroForm", "/Fields").toArray())
            names.append(at(field, "/T").toString().mid(2));
        return names;
    }

private:
    static QString pathOf(const std::filesystem::path& file) { return QFile::decodeName(file.c_str()); }

    static QByteArray run(const QStringList& arguments)
    {
        QProcess process;
        process.start(QStringLiteral("qpdf"), arguments);
        if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
            throw std::runtime_error("qpdf: " + process.readAllStandardError().toStdString()
                                     + process.readAllStandardOutput().left(2000).toStdString());
        return process.readAllStandardOutput();
    }

    static QJsonValue step(const QJsonValue& value, const char* key)
    {
        return value.toObject().value(QLatin1String(key));
    }
    static QJsonValue step(const QJsonValue& value, int index) { return value.toArray().at(index); }

    QString outlineBeneath(const QJsonValue& parent) const
    {
        QStringList entries;
        for (QJsonValue item = at(parent, "/First"); item.isObject(); item = at(item, "/Next")) {
            const QJsonValue destination = at(item, "/Dest");
            const int target = targetOf(destination.isUndefined() ? at(item, "/A", "/D") : destination);
            QString entry = at(item, "/Title").toString().mid(2) + u'>' + QString::number(target);
            if (const QString children = outlineBeneath(item); !children.isEmpty())
                entry += u'(' + children + u')';
            entries.append(entry);
        }
        return entries.join(u' ');
    }

    QJsonObject m_objects;
    QStringList m_pages;
};

} // namespace Pelgra
