#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""A PyQt 6 product that shows the About box over its window, through ctypes."""
import ctypes
from PyQt6 import QtWidgets, sip

toolbox = ctypes.CDLL("libvltoolbox.so.1")
toolbox.VeltranoOpenModule.restype = toolbox.CreateWindowRefWithQWidget.restype = ctypes.c_void_p
toolbox.VeltranoResultText.restype = ctypes.c_char_p
application = QtWidgets.QApplication(["host.py"])
host = QtWidgets.QMainWindow()
host.show()
module = ctypes.c_void_p(toolbox.VeltranoOpenModule(None))
window = ctypes.c_void_p(toolbox.CreateWindowRefWithQWidget(ctypes.c_void_p(sip.unwrapinstance(host))))
result = toolbox.VeltranoShowAboutBox(module, window, None, 128, b"Product 3.2", b"Licensed to Ada", 0)
print(toolbox.VeltranoResultText(result).decode())
toolbox.vlp_DisposeWindow(window)
toolbox.VeltranoCloseModule(module)
