#!/bin/sh
# Stands for the program "远帆仿真" of the sample catalogue.
echo "远帆仿真 2.4.1"
