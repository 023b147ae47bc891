#!/bin/sh
# Stands for the program "流沙测绘" of the sample catalogue.
echo "流沙测绘 7.3.0"
