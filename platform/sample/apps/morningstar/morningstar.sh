#!/bin/sh
# Stands for the program "晨星渲染" of the sample catalogue.
echo "晨星渲染 6.0.0"
