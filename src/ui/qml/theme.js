.pragma library
.import "colors.js" as Colors

// Everything on the screens that is not a colour of the brand: the spacing unit and what is made
// of it, type sizes, the tones between the brand's colours, and how figures are written.

var unit = 8
var menuWidth = 250
var controlHeight = 32
var indicatorSize = 18
var presentationRowHeight = 56
var radius = 4
var focusRing = 2

var fontFamily = "Roboto"
var fontTiny = 10
var fontSmall = 12
var fontBody = 14
var fontDuration = 17
var fontFraction = 10
var fontTitle = 18
var fontDisplay = 22

// Blue on the dark background and on white, as text: the brand's blue is too dark for the former.
var blueOnDark = "#6fb1ff"
var blueOnLight = "#0b57b0"
var focusOnDark = "#ffffff"
var focusOnLight = Colors.bgDark
var line = "#d9d6dc"
var lineDark = "#2a2840"
var panelDark = "#0d0b22"
var blueTint = "#e7f1fd"
var textOnLight = "#1c1b29"

// The running duration changes ten times a second and is on the screen that is being recorded. It
// is small and far from full contrast so that it never makes a new slide by itself: the comparison
// of slides must find each part of the screen at least 95 % alike (tested).
var durationText = "#a5a3b8"
var durationFraction = "#55536a"
var pointerText = "#55536a"
var statusText = "#9a98b0"

/// The sizes of captures, "1920x1080, 1280x720"; those of scaled screens are fractions.
function sizesText(sizes) {
    return sizes.map(size => Math.round(size.width) + "x" + Math.round(size.height)).join(", ")
}

/// For how long the disk lasts.
function diskText(minutes) {
    return minutes < 120 ? qsTr("about %1 min").arg(minutes)
                         : qsTr("about %1 h %2 min").arg(Math.floor(minutes / 60)).arg(minutes % 60)
}
