// The properties of XMP that quorvin reads and writes for its own use.
#pragma once

namespace quorvin {

inline constexpr const char* kRatingKey = "Xmp.xmp.Rating";
inline constexpr const char* kTitleKey = "Xmp.dc.title";
inline constexpr const char* kSubjectKey = "Xmp.dc.subject";
inline constexpr const char* kDateKey = "Xmp.photoshop.DateCreated";

inline constexpr const char* kFavoriteKey = "Xmp.quorvin.Favorite";
inline constexpr const char* kPartTypesKey = "Xmp.quorvin.PartTypes";
inline constexpr const char* kPartNamesKey = "Xmp.quorvin.PartNames";
inline constexpr const char* kPartWereKey = "Xmp.quorvin.PartNamesInLibrary";
inline constexpr const char* kAlbumsKey = "Xmp.quorvin.Albums";
inline constexpr const char* kModifiedKey = "Xmp.quorvin.ModifyDate";
inline constexpr const char* kHiddenKey = "Xmp.quorvin.Hidden";
inline constexpr const char* kBurstKey = "Xmp.quorvin.BurstID";
inline constexpr const char* kBurstPrimaryKey = "Xmp.quorvin.BurstPrimary";
inline constexpr const char* kRepresentsKey = "Xmp.quorvin.BurstRepresents";
inline constexpr const char* kBurstSelectionKey = "Xmp.quorvin.BurstSelection";

}  // namespace quorvin
