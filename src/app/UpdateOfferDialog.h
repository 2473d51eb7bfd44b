#pragma once

#include "system/UpdateController.h"

#include <QDialog>

// Tells the user about a newer release: its version, its release notes and a button that opens
// its download page in the browser. Installing it is the package manager's business.
class UpdateOfferDialog : public QDialog {
public:
    explicit UpdateOfferDialog(const UpdateController::Offer& offer, QWidget* parent = nullptr);
};
