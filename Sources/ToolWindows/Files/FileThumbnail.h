#pragma once

#include <QImage>
#include <QWidget>

#include <filesystem>

namespace Pelgra {

/// A small picture of a file, shown once it is there; the symbol of a photo until then.
class FileThumbnail : public QWidget {
    Q_OBJECT

public:
    explicit FileThumbnail(std::filesystem::path url, QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    std::filesystem::path m_url;
    QImage m_image;
    bool m_asked = false;
};

} // namespace Pelgra
