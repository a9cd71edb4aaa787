#include "engine/trace/packages.h"

#include <iterator>
#include <string_view>

namespace zenta::trace {
namespace {

constexpr std::string_view kPackages[] = {
    // Messages
    "com.tencent.mm",
    "com.tencent.mobileqq",
    "com.tencent.tim",
    "com.tencent.wework",
    "com.alibaba.android.rimet",
    "com.ss.android.lark",
    "com.whatsapp",
    "org.telegram.messenger",
    "org.thoughtcrime.securesms",
    "jp.naver.line.android",
    "com.facebook.orca",
    "com.viber.voip",
    "com.skype.raider",
    "com.discord",
    "com.kakao.talk",
    "com.google.android.apps.messaging",
    "com.samsung.android.messaging",
    "com.android.mms",
    // Social networks
    "com.sina.weibo",
    "com.qzone",
    "com.xingin.xhs",
    "com.zhihu.android",
    "com.douban.frodo",
    "com.immomo.momo",
    "com.coolapk.market",
    "com.facebook.katana",
    "com.instagram.android",
    "com.twitter.android",
    "com.snapchat.android",
    "com.reddit.frontpage",
    "com.pinterest",
    "com.linkedin.android",
    // Shops
    "com.taobao.taobao",
    "com.tmall.wireless",
    "com.taobao.idlefish",
    "com.alibaba.wireless",
    "com.eg.android.AlipayGphone",
    "com.jingdong.app.mall",
    "com.xunmeng.pinduoduo",
    "com.achievo.vipshop",
    "com.suning.mobile.ebuy",
    "com.sankuai.meituan",
    "com.dianping.v1",
    "me.ele",
    "com.smzdm.client.android",
    "com.zzkko",
    "com.amazon.mShop.android.shopping",
    "com.ebay.mobile",
    // Short videos
    "com.ss.android.ugc.aweme",
    "com.ss.android.ugc.aweme.lite",
    "com.ss.android.ugc.live",
    "com.ss.android.article.video",
    "com.zhiliaoapp.musically",
    "com.smile.gifmaker",
    "com.kuaishou.nebula",
    "com.tencent.weishi",
    "tv.danmaku.bili",
    "com.google.android.youtube",
    // Launchers and the system's own surfaces
    "com.android.systemui",
    "com.android.settings",
    "com.android.launcher3",
    "com.google.android.apps.nexuslauncher",
    "com.google.android.googlequicksearchbox",
    "com.huawei.android.launcher",
    "com.hihonor.android.launcher",
    "com.miui.home",
    "com.oppo.launcher",
    "com.bbk.launcher2",
    "com.sec.android.app.launcher",
    "net.oneplus.launcher",
    "com.meizu.flyme.launcher",
    "com.teslacoilsw.launcher",
    "com.microsoft.launcher",
    // Browsers
    "com.android.chrome",
    "com.android.browser",
    "com.UCMobile",
    "com.quark.browser",
    "com.tencent.mtt",
    "com.huawei.browser",
    "com.heytap.browser",
    "com.vivo.browser",
    "com.sec.android.app.sbrowser",
    "org.mozilla.firefox",
    "com.microsoft.emmx",
    "com.opera.browser",
    // Games
    "com.tencent.tmgp.sgame",
    "com.tencent.tmgp.pubgmhd",
    "com.tencent.tmgp.cf",
    "com.tencent.lolm",
    "com.miHoYo.Yuanshen",
    "com.miHoYo.hkrpg",
    "com.netease.onmyoji",
    "com.netease.dwrg",
    "com.hypergryph.arknights",
    "com.happyelements.AndroidAnimal",
    "com.supercell.clashofclans",
    "com.mojang.minecraftpe",
    "com.roblox.client",
};
static_assert(std::size(kPackages) == kPackageCount);

}  // namespace

tstl::BufferRef<unsigned char> package_name(std::uint32_t index) noexcept {
  return index < kPackageCount ? kPackages[index] : std::string_view();
}

}  // namespace zenta::trace
