#pragma once

#include "frame/host_interface.h"

namespace picture {

REALpicture LinBrightnessPicture1(REALpicture source, double brightness);
REALpicture LinBrightnessPicture3(REALpicture source, double brightnessRed, double brightnessGreen,
                                  double brightnessBlue);
REALpicture AbsBrightnessPicture1(REALpicture source, double brightness);
REALpicture AbsBrightnessPicture3(REALpicture source, double brightnessRed, double brightnessGreen,
                                  double brightnessBlue);
REALpicture ContrastPicture1(REALpicture source, double contrast);
REALpicture ContrastPicture3(REALpicture source, double contrastRed, double contrastGreen, double contrastBlue);
REALpicture ContrastLinBrightnessPicture1(REALpicture source, double contrast, double brightness);
REALpicture ContrastLinBrightnessPicture3(REALpicture source, double contrastRed, double contrastGreen,
                                          double contrastBlue, double brightnessRed, double brightnessGreen,
                                          double brightnessBlue);
REALpicture ContrastAbsBrightnessPicture1(REALpicture source, double contrast, double brightness);
REALpicture ContrastAbsBrightnessPicture3(REALpicture source, double contrastRed, double contrastGreen,
                                          double contrastBlue, double brightnessRed, double brightnessGreen,
                                          double brightnessBlue);
REALpicture TransformPicture1(REALpicture source, double a, double b);
REALpicture TransformPicture3(REALpicture source, double Ra, double Rb, double Ga, double Gb, double Ba, double Bb);

}  // namespace picture
