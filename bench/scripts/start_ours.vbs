' The minimal script with our classes: the cost of loading the library.
Option Explicit

Dim list
Set list = CreateObject("Nuvolex.NXStringList")
WScript.Echo "Done: " & list.Count
