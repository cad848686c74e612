// Asks for a new secret.
#pragma once

#include <QWidget>
#include <optional>

#include "Secrets.h"

namespace inspector {

// Returns nothing when the user cancels.
std::optional<NewSecret> askForSecret(QWidget* parent);

}  // namespace inspector
