#pragma once

// Kept as a type of its own for the layout's sake; it has no state and no operations. Errors
// are presented by the application's alerts (AlertCoordinator).
class ErrorHandler
{};
