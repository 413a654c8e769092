#!/usr/bin/python3
"""Draws a map field of a run in QGIS, with the flow as arrows and the parcels as points.

usage: picture_qgis.py PREFIX PARCELS.csv OUT.png [HOURS]

PREFIX_maps.h5 is opened as a mesh layer, PARCELS.csv (made by parcels_to_csv.py) as a layer of points;
both are drawn HOURS after the start of the run, 24 by default. Needs python3-qgis; no display.
"""
import os
import sys

os.environ.setdefault("QT_QPA_PLATFORM", "offscreen")

from qgis.core import (QgsApplication, QgsColorRampShader, QgsDateTimeRange, QgsGradientColorRamp,
                       QgsMapRendererSequentialJob, QgsMapSettings, QgsMarkerSymbol,
                       QgsMeshDatasetIndex, QgsMeshLayer, QgsMeshRendererScalarSettings,
                       QgsRectangle, QgsSingleSymbolRenderer, QgsVectorLayer)
from qgis.PyQt.QtCore import QSize, QUrl, QUrlQuery
from qgis.PyQt.QtGui import QColor


def mesh_layer(path, field):
    layer = QgsMeshLayer(path, field, "mdal")
    provider = layer.dataProvider()
    groups = {provider.datasetGroupMetadata(QgsMeshDatasetIndex(g, 0)).name(): g
              for g in range(provider.datasetGroupCount())}
    settings = layer.rendererSettings()
    settings.setActiveScalarDatasetGroup(groups[field])
    settings.setActiveVectorDatasetGroup(groups["flow"])
    ramp = QgsGradientColorRamp(QColor("#f4f7fa"), QColor("#c0392b"))
    shader = QgsColorRampShader(0.0, 2.0, ramp)
    shader.classifyColorRamp(9, -1)
    scalar = QgsMeshRendererScalarSettings(settings.scalarSettings(groups[field]))
    scalar.setColorRampShader(shader)
    scalar.setClassificationMinimumMaximum(0.0, 2.0)
    settings.setScalarSettings(groups[field], scalar)
    vector = settings.vectorSettings(groups["flow"])
    vector.setColor(QColor("#4a7fb0"))
    vector.setLineWidth(0.3)
    vector.setOnUserDefinedGrid(True)
    vector.setUserGridCellWidth(22)
    vector.setUserGridCellHeight(22)
    settings.setVectorSettings(groups["flow"], vector)
    layer.setRendererSettings(settings)
    layer.temporalProperties().setIsActive(True)
    return layer, provider.datasetGroupMetadata(QgsMeshDatasetIndex(groups[field], 0)).referenceTime()


def point_layer(path, date):
    url = QUrl.fromLocalFile(path)
    query = QUrlQuery()
    for key, word in (("type", "csv"), ("xField", "x"), ("yField", "y"), ("detectTypes", "yes")):
        query.addQueryItem(key, word)
    url.setQuery(query)
    layer = QgsVectorLayer(bytes(url.toEncoded()).decode(), "parcels", "delimitedtext")
    layer.setSubsetString(f"\"time\" = to_datetime('{date.toString('yyyy-MM-ddThh:mm:ss')}')")
    layer.setRenderer(QgsSingleSymbolRenderer(QgsMarkerSymbol.createSimple(
        {"name": "circle", "size": "0.9", "color": "#303030", "outline_style": "no"})))
    return layer


def main(prefix, table, picture, hours=24.0):
    application = QgsApplication([], False)
    application.initQgis()
    maps, start = mesh_layer(os.path.abspath(prefix + "_maps.h5"), "concentration")
    date = start.addSecs(int(3600 * hours))
    parcels = point_layer(os.path.abspath(table), date)
    settings = QgsMapSettings()
    settings.setLayers([parcels, maps])
    settings.setExtent(QgsRectangle(-2700.0, -2600.0, 2700.0, 2700.0))
    settings.setOutputSize(QSize(620, 610))
    settings.setBackgroundColor(QColor("white"))
    settings.setIsTemporal(True)
    settings.setTemporalRange(QgsDateTimeRange(date, date.addSecs(1)))
    job = QgsMapRendererSequentialJob(settings)
    job.start()
    job.waitForFinished()
    for error in job.errors():
        print(error.layerID, error.message)
    job.renderedImage().save(picture)
    print(f"{picture}: {date.toString('yyyy-MM-dd hh:mm:ss')}, {parcels.featureCount()} parcels")


main(*sys.argv[1:4], *(float(word) for word in sys.argv[4:5]))
