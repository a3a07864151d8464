// The writer of an initialization file with the run's findings.
#pragma once

void vowritini();
