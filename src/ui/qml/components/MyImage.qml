import QtQuick

/// A picture that only adorns; what it means is said by the control around it.
Image {
    fillMode: Image.PreserveAspectFit
    mipmap: true
    smooth: true

    Accessible.ignored: true
}
