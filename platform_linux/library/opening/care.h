// What an opening leaves to the background.
#pragma once

namespace quorvin {

class Catalogue;

/// Starts a thread beside the catalogue where there is anything to do: looking whether a catalogue
/// that is not trusted yet is sound, removing what crashed processes left behind, and removing what
/// was deleted 30 days ago or earlier. What it does not get done is left to the next opening.
void startCare(Catalogue& catalogue);

}  // namespace quorvin
