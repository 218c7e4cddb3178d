#pragma once

#include <QImage>
#include <QPainter>
#include <QPdfWriter>
#include <QTemporaryDir>

#include <filesystem>

namespace Pelgra {

/// A temporary folder of small inputs.
class SmallFiles {
public:
    std::filesystem::path path(const char* name) const
    {
        return std::filesystem::path(m_folder.path().toStdString()) / name;
    }

    std::filesystem::path document(const char* name, int pages) const
    {
        QPdfWriter writer(QString::fromStdString(path(name).string()));
        writer.setResolution(72);
        QPainter painter(&writer);
        for (int page = 0; page < pages; ++page) {
            if (page > 0)
                writer.newPage();
            painter.fillRect(0, 0, 100 + page, 100, Qt::blue);
        }
        return path(name);
    }

    std::filesystem::path picture(const char* name) const
    {
        QImage image(12, 8, QImage::Format_RGB32);
        image.fill(Qt::red);
        image.save(QString::fromStdString(path(name).string()));
        return path(name);
    }

private:
    QTemporaryDir m_folder;
};

} // namespace Pelgra
