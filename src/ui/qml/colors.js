.pragma library

var blue = "#0F74E8"
var red = "#d00026"
var white = "#ffffff"
var brightRed = "#ff0000"
var lightGrey = "#aaaaaa"
var darkGrey = "#555555"
var bgDark = "#040316"
var bgLight = "#F7F5F6"

function hoveredColor(color) {
    return Qt.darker(color, 1.2)
}
