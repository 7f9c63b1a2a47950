// The message pump long operations run between their steps (index builds,
// slide-show waits): it keeps the windows of this thread answering.
#pragma once

// Dispatches every queued message of the thread without waiting. A quit
// message is posted again and ends the pumping, so that the main loop ends
// once the long operation is over.
void PumpMessages();
