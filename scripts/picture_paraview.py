"""Draws maps and parcels of a run in ParaView.

usage: pvbatch picture_paraview.py PREFIX OUT.png [HOURS]

PREFIX_maps.xmf and PREFIX_particles.xmf are opened; HOURS after the start of the run, 24 by default.
Without a display: xvfb-run -a pvbatch ...
"""
import os
import sys

from paraview.simple import (Calculator, ColorBy, CreateView, GetColorTransferFunction, GetScalarBar,
                             Glyph, Render, SaveScreenshot, Show, Text, Threshold, XDMFReader)


def main(prefix, picture, hours=24.0):
    maps = XDMFReader(FileNames=[os.path.abspath(prefix + "_maps.xmf")])
    parcels = XDMFReader(FileNames=[os.path.abspath(prefix + "_particles.xmf")])
    view = CreateView("RenderView")
    view.ViewSize = [900, 620]
    view.UseColorPaletteForBackground = 0
    view.Background = [1.0, 1.0, 1.0]
    view.OrientationAxesVisibility = 0
    view.ViewTime = 3600.0 * hours

    # Wave height on the mesh, which lies at bed level.
    shown = Show(maps, view)
    shown.Ambient, shown.Diffuse = 1.0, 0.0  # colours as they are, without light and shade
    ColorBy(shown, ("POINTS", "wave height"))
    colours = GetColorTransferFunction("wave height")
    colours.RGBPoints = [0.0, 0.97, 0.98, 1.0, 1.0, 0.62, 0.79, 0.88, 2.0, 0.13, 0.44, 0.71]
    colours.ColorSpace = "RGB"
    shown.SetScalarBarVisibility(view, True)
    bar = GetScalarBar(colours, view)
    bar.Title, bar.ComponentTitle = "wave height (m)", ""
    bar.WindowLocation, bar.LabelFormat, bar.RangeLabelFormat = "Upper Right Corner", "%.1f", "%.1f"
    bar.TitleColor = bar.LabelColor = [0.0, 0.0, 0.0]

    # Arrows of the flow, lifted above the mesh.
    raised = Calculator(Input=maps, CoordinateResults=1, Function="coordsX*iHat+coordsY*jHat+20*kHat")
    arrows = Glyph(Input=raised, GlyphType="Arrow", OrientationArray=["POINTS", "flow"],
                   ScaleArray=["POINTS", "flow"], ScaleFactor=500.0, GlyphMode="Every Nth Point",
                   Stride=5)
    shown = Show(arrows, view)
    ColorBy(shown, None)
    shown.AmbientColor = shown.DiffuseColor = [0.15, 0.15, 0.15]

    # Parcels; those that are gone lie at -9999.9 and are cut off by a threshold.
    place = Calculator(Input=parcels, Function="coordsX", ResultArrayName="px")
    there = Threshold(Input=place, Scalars=["POINTS", "px"], ThresholdMethod="Above Upper Threshold",
                      UpperThreshold=-9999.0)
    raised = Calculator(Input=there, CoordinateResults=1, Function="coordsX*iHat+coordsY*jHat+30*kHat")
    shown = Show(raised, view)
    shown.SetRepresentationType("Points")
    shown.PointSize = 3
    ColorBy(shown, ("POINTS", "source"))
    colours = GetColorTransferFunction("source")
    colours.InterpretValuesAsCategories = 1
    colours.Annotations = ["1", "dumped sand", "2", "sand from a pipe", "3", "tracer", "4", "fine sand",
                           "5", "silt"]
    colours.IndexedColors = [1.0, 0.5, 0.05, 0.17, 0.63, 0.17, 0.84, 0.15, 0.16, 0.58, 0.4, 0.74,
                             0.55, 0.34, 0.29]
    shown.SetScalarBarVisibility(view, True)
    bar = GetScalarBar(colours, view)
    bar.Title, bar.ComponentTitle = "source", ""
    bar.TitleColor = bar.LabelColor = [0.0, 0.0, 0.0]
    bar.WindowLocation, bar.ScalarBarLength = "Upper Left Corner", 0.3

    note = Show(Text(Text=f"{hours:g} h after the start"), view)
    note.Color, note.WindowLocation = [0.0, 0.0, 0.0], "Lower Left Corner"
    Render(view)  # the first one sets the camera anew
    view.CameraParallelProjection = 1
    view.CameraPosition, view.CameraFocalPoint = [0.0, 0.0, 10000.0], [0.0, 0.0, 0.0]
    view.CameraViewUp = [0.0, 1.0, 0.0]
    view.CameraParallelScale = 3000.0
    Render(view)
    SaveScreenshot(picture, view, CompressionLevel="9")


main(sys.argv[1], sys.argv[2], *(float(word) for word in sys.argv[3:4]))
