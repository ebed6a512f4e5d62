// held_cancellation.h: what has come while cancellation was held.
#pragma once

namespace vorin::stylize {

// Cancels if it is due, held or not.
void cancelEvenIfHeld();

} // namespace vorin::stylize
