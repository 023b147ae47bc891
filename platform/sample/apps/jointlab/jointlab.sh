#!/bin/sh
# Stands for the program "面向多学科协同设计的结构与流体联合分析平台（教学版）" of the sample catalogue.
echo "面向多学科协同设计的结构与流体联合分析平台（教学版） 2026.1"
