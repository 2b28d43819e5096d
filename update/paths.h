// Every fixed path of the installation.
#pragma once

constexpr char kConfigDirectory[] = "/opt/Quorvex/etc";
constexpr char kMainConfig[] = "/opt/Quorvex/etc/qxav.conf";
constexpr char kUpdateConfig[] = "/opt/Quorvex/etc/updates.conf";
constexpr char kVersionFile[] = "/opt/Quorvex/etc/qxav-ver";
constexpr char kLockDirectory[] = "/opt/Quorvex/var/run";
constexpr char kLockFile[] = "/opt/Quorvex/var/run/checkupdate";
constexpr char kLogDirectory[] = "/var/Quorvex/var/log";
constexpr char kUpdateLog[] = "/var/Quorvex/var/log/updates.log";
constexpr char kStateFile[] = "/var/Quorvex/var/state/updatenow.prom";
