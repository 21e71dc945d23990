' The least that a script with our classes can do: what loading the library costs.
Option Explicit

Dim list
Set list = CreateObject("Nuvolex.NXStringList")
WScript.Echo "Done: " & list.Count
