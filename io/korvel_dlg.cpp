// SPDX-License-Identifier: MIT
#include "io/korvel_dlg.h"

CKorvelDlg* controlDlg = nullptr;

CKorvelDlg::CKorvelDlg(PanelReceiver* receiver) : receiver_(receiver) { controlDlg = this; }

void CKorvelDlg::Detach() {
  if (receiver_) receiver_->Detach();
}

void CKorvelDlg::Invalidate(bool flag) {
  if (receiver_) receiver_->Invalidate(flag);
}

void CKorvelDlg::enableUSB1Mode(bool enable) {
  if (receiver_) receiver_->EnableUSB1Mode(enable);
}

void CKorvelDlg::ShowInfo(std::int32_t id, bool flag, std::int32_t value, const char* text) {
  if (receiver_) receiver_->ShowInfo(id, flag, value, text);
}

void CKorvelDlg::ShowInfoCstring(std::int32_t id, bool flag, std::int32_t value, const char* text) {
  ShowInfo(id, flag, value, text);
}

void CKorvelDlg::FoundHardware(std::int32_t index) {
  if (receiver_) receiver_->FoundHardware(index);
}
