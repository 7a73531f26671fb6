// What an opening leaves to the background.
#pragma once

namespace quorvin {

class Catalogue;

/// Starts a thread beside the catalogue where there is anything to do: looking whether the
/// catalogue is sound after an unclean stop, removing what crashed processes left behind, and
/// removing what was deleted 30 days ago or earlier. What it does not get done is left to the next
/// opening. `stoppedUncleanly`: whoever had the library open last did not close it.
void startCare(Catalogue& catalogue, bool stoppedUncleanly);

}  // namespace quorvin
