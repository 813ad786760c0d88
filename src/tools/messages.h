// Captions and texts of every message box the tools show, kept exactly as the game's front
// end shows them (blanks included).
#pragma once

namespace vellmark::messages {

inline constexpr char kValidTgaCaption[] = "Valid TGA File";
inline constexpr char kValidTgaText[] = "This sky tga is already in the correct format - No Action Taken";
inline constexpr char kNewTgaCaption[] = "New TGA File";
inline constexpr char kInvalidTgaCaption[] = "Invalid TGA File";
inline constexpr char kInvalidPreviewText[] = "Sorry Preview Images must be 512 x 35 TGA Format";
inline constexpr char kInvalidMainSkyText[] = "Sorry Main Sky Images must be 4800 x 320 TGA Format";
inline constexpr char kInvalidBtcCaption[] = "Invalid BTC File";
inline constexpr char kInvalidBtcText[] = "Sorry unable to process btc file";
inline constexpr char kWarningCaption[] = "Vellmark Warning";
inline constexpr char kWarningText[] =
    "Please Note this Process takes about 2 minutes to complete.  Please be patient!";
inline constexpr char kXprErrorCaption[] = "XPR Object Creation Error";
inline constexpr char kXprErrorText[] = " Unable to create XPR Resource Object";
inline constexpr char kDirectXInitCaption[] = "DirectX Initialization Error";
inline constexpr char kDirectXInitText[] = "Initialization of DirectX Engine Failed Please install DirectX SDK";
inline constexpr char kLoadErrorCaption[] = "Load Error";
inline constexpr char kMapErrorCaption[] = "MAP File Creation Error";
inline constexpr char kCannotReadTextureText[] = "Cannot read Texture";
inline constexpr char kTargaNotValidText[] = " Targa texture not valid or not TGA File";
inline constexpr char kMissingTextureText[] = "Missing texture in object";
inline constexpr char kTriedTextureCaption[] = "You Tried to Load the Following Texture";
inline constexpr char kWriteXyzCaption[] = "Attempting to Write XYZ File";
inline constexpr char kWriteMapCaption[] = "Attempting to Write MAP File";

}  // namespace vellmark::messages
