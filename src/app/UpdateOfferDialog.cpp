#include "app/UpdateOfferDialog.h"

#include <QDesktopServices>
#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QTextBrowser>
#include <QVBoxLayout>

UpdateOfferDialog::UpdateOfferDialog(const UpdateController::Offer& offer, QWidget* parent)
    : QDialog(parent) {
    setWindowTitle(QStringLiteral("Software Update"));
    auto* layout = new QVBoxLayout(this);

    auto* heading =
        new QLabel(QStringLiteral("<b>A new version of Orvanta is available!</b>"), this);
    auto* versions = new QLabel(QStringLiteral("Orvanta %1 is now available; you have %2.")
                                    .arg(offer.shortVersion, QStringLiteral(ORVANTA_VERSION)),
                                this);
    // The versions come from the feed: shown as they are, never as markup.
    versions->setTextFormat(Qt::PlainText);
    layout->addWidget(heading);
    layout->addWidget(versions);

    if (!offer.releaseNotes.isEmpty()) {
        auto* notes = new QTextBrowser(this);
        notes->setOpenExternalLinks(true);
        notes->setHtml(offer.releaseNotes);
        layout->addWidget(new QLabel(QStringLiteral("Release Notes:"), this));
        layout->addWidget(notes);
        resize(480, 360);
    } else if (offer.releaseNotesUrl.isValid()) {
        auto* link = new QLabel(QStringLiteral("<a href=\"%1\">Read the release notes</a>")
                                    .arg(offer.releaseNotesUrl.toString(QUrl::FullyEncoded)),
                                this);
        link->setOpenExternalLinks(true);
        layout->addWidget(link);
    }

    auto* buttons = new QDialogButtonBox(this);
    QPushButton* open =
        buttons->addButton(QStringLiteral("Open Download Page"), QDialogButtonBox::AcceptRole);
    buttons->addButton(QStringLiteral("Not Now"), QDialogButtonBox::RejectRole);
    open->setDefault(true);
    const QUrl page = offer.page;
    connect(buttons, &QDialogButtonBox::accepted, this, [this, page] {
        QDesktopServices::openUrl(page);
        accept();
    });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(buttons);
}
