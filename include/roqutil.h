/*
 * libroqutil: the common toolbox of the home gateway, in one include.
 *
 * Each family has a header of its own under roqutil/, which carries its manual.
 */
#ifndef ROQUTIL_H
#define ROQUTIL_H

#include <roqutil/dns.h>
#include <roqutil/gvar.h>
#include <roqutil/msg.h>
#include <roqutil/netinfo.h>
#include <roqutil/process.h>
#include <roqutil/strutil.h>
#include <roqutil/validate.h>

#endif
