// The version, as banners, the lock and tear lines show it.
#pragma once

constexpr char kVersion[] = "1.05";
constexpr char kReleaseLabel[] = "Beta 5";
