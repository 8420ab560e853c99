// What the program calls itself in banners, in the lock and in tear lines.
#pragma once

constexpr char kVersion[] = "1.05";
constexpr char kReleaseLabel[] = "Beta 5";
